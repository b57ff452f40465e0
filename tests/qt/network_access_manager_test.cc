// The Qt network manager making real requests to local servers on 127.0.0.1 through Qt's event loop,
// recorded by a Core whose network feature is the real one: each request must come out as the
// "network" event the feature makes of a URL session's request, in the Core's store.
#include "obx/qt_network_access_manager.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTest>

#include <functional>

#include "core/core.h"
#include "lifecycle/app_life_cycle.h"
#include "lifecycle/batch_coordinator.h"
#include "network/network_event_builder.h"
#include "network/network_feature.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "store/data_controller.h"
#include "store/store_test_support.h"
#include "testing/host_server.h"
#include "testing/test_core.h"

namespace obx::qt {
namespace {

using testing::HostServer;

class NetworkAccessManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.running() && collector_.running());
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    // Only the network feature is real: the others would record and upload beside it.
    core_ = testing::makeCore(scheduler_, nullptr,
                              {FeatureKey::kUpload, FeatureKey::kCrashReport, FeatureKey::kRUM, FeatureKey::kSVR,
                               FeatureKey::kBridge});
    core_->setFeatureBuilder(FeatureKey::kNetwork, [this](const CommonDependencies& d,
                                                          std::shared_ptr<DataController> dataController)
                                                          -> std::shared_ptr<Feature> {
      store_ = dataController;
      auto core = NetworkCore::make(NetworkDependencies{d.batchCoordinator, d.configuration, d.appCycle},
                                    std::move(dataController), scheduler_);
      return std::make_shared<NetworkFeature>(std::move(core));
    });
    Core::resetShared(core_);

    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, true, true, false, true);
    configuration.endpoint = Endpoint::custom(collector_.base(), collector_.base() + "/replay/");
    core_->initialize(configuration, Platform::native());
    scheduler_->runUntilIdle();
    core_->startNewScreen("Shop", false);
    scheduler_->runUntilIdle();
    batch_ = core_->commonDependencies()->batchCoordinator->batchContext();
    ASSERT_TRUE(batch_ && store_);
    manager_->setProxy(QNetworkProxy::NoProxy);
  }

  void TearDown() override {
    delete manager_;
    Core::resetShared(nullptr);
    core_.reset();
    scheduler_->runUntilIdle();
    platform::setDefaultScheduler(nullptr);
  }

  static QNetworkRequest request(const std::string& url) { return QNetworkRequest(QUrl(QString::fromStdString(url))); }

  // Runs Qt's event loop until `done`, at most ten seconds.
  static bool runUntil(const std::function<bool()>& done) { return QTest::qWaitFor(done, 10000); }
  // Waits for the reply's end; returns its body and deletes it.
  static std::optional<std::string> finish(QNetworkReply* reply) {
    if (!runUntil([reply] { return reply->isFinished(); })) return std::nullopt;
    std::string body = reply->readAll().toStdString();
    delete reply;
    return body;
  }

  // The data of the "network" events of the screen's batch, once the SDK's queues have run.
  std::vector<Json> networkEvents() {
    scheduler_->runUntilIdle();
    std::vector<Json> list;
    for (const std::string& block : store_->repository().events(batch_->id)) {
      Json event = Json::parse(block);
      if (event["t"] == "network") list.push_back(event["d"]);
    }
    return list;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  HostServer host_;
  HostServer collector_;  // the collection endpoint the SDK itself talks to
  testing::ClosedPort closed_;
  std::shared_ptr<Core> core_;
  std::shared_ptr<DataController> store_;
  std::optional<BatchContext> batch_;
  NetworkAccessManager* manager_ = new NetworkAccessManager;
};

// Each request becomes one event with the URL split at "?", the method, the status, the sizes
// sent and received, its creation date and the time to its end. A 404 or a 500 is a status, not an
// error; a refused connection has code 0 and the SDK's text for it. Deleting a finished reply adds
// nothing, and the application reads its replies whole.
TEST_F(NetworkAccessManagerTest, EachRequestBecomesOneEvent) {
  const std::string host = host_.base();
  struct Case {
    std::function<QNetworkReply*()> send;
    std::string host;
    const char* parameters;
    const char* method;
    int code, sent, received;
    const char* error;
    const char* body;
  };
  const Case cases[] = {
      {[&] { return manager_->get(request(host + "/items?a=1&b=2")); },
       host + "/items", "a=1&b=2", "GET", 200, 0, 7, "", HostServer::kItems},
      {[&] { return manager_->post(request(host + "/orders?"), QByteArray("1234567")); },
       host + "/orders", "", "POST", 201, 7, 1, "", "7"},
      {[&] { return manager_->put(request(host + "/orders?x=1"), QByteArray("abc")); },
       host + "/orders", "x=1", "PUT", 500, 3, 4, "", "down"},
      {[&] { return manager_->get(request(host + "/missing")); },
       host + "/missing", "", "GET", 404, 0, 12, "", "no such item"},
      {[&] { return manager_->sendCustomRequest(request(host + "/orders"), "PATCH", QByteArray("patch")); },
       host + "/orders", "", "PATCH", 200, 5, 5, "", "patch"},
      {[&] { return manager_->deleteResource(request(host + "/orders")); },
       host + "/orders", "", "DELETE", 204, 0, 0, "", ""},
      {[&] { return manager_->head(request(host + "/items")); },
       host + "/items", "", "HEAD", 200, 0, 0, "", ""},
      {[&] { return manager_->get(request(closed_.base() + "/items?x=1?y=2")); },
       closed_.base() + "/items", "y=2", "GET", 0, 0, 0, "Could not connect to the server.", ""},
  };

  std::size_t recorded = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.host);
    const auto created = static_cast<std::int64_t>(scheduler_->now());
    QNetworkReply* reply = c.send();
    scheduler_->advance(0.125);
    EXPECT_EQ(finish(reply), c.body);
    auto events = networkEvents();
    ASSERT_EQ(events.size(), ++recorded);
    const Json expected = {{"host", c.host},          {"parameters", c.parameters}, {"method", c.method},
                           {"code", c.code},          {"dateRequest", created},     {"duration", 125},
                           {"bytesSent", c.sent},     {"bytesReceived", c.received}, {"error", c.error},
                           {"private", false}};
    EXPECT_EQ(events.back(), expected);
  }
}

// URLs follow the feature's rules: credentials and fragments come out as for a URL session's
// request of the same text, and parameters are left out when not captured. Requests to the SDK's
// own collection endpoint, answered, are not recorded.
TEST_F(NetworkAccessManagerTest, URLRulesAndOwnTraffic) {
  const std::string host = host_.base();
  const std::string withCredentials = "http://user:secret@" + host.substr(std::string("http://").size());
  for (const std::string& url : {withCredentials + "/items?token=1#top", host + "/items#section"}) {
    SCOPED_TRACE(url);
    ASSERT_TRUE(finish(manager_->get(request(url))));
    URLSessionDataIntercepted value;
    value.url = platform::URL::fromString(url);
    value.method = "GET";
    auto expected = NetworkEventBuilder::build(value, core_->configuration()->common(), scheduler_->now());
    ASSERT_TRUE(expected);
    auto events = networkEvents();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()["host"], expected->host);
    EXPECT_EQ(events.back()["parameters"], expected->parameters);
  }

  for (const std::string& own : {collector_.base() + "/asset/?type=zip&wid=prop", collector_.base()}) {
    QNetworkReply* reply = manager_->post(request(own), QByteArray("zip"));
    ASSERT_TRUE(runUntil([reply] { return reply->isFinished(); }));
    EXPECT_TRUE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) << own;
    delete reply;
  }
  EXPECT_EQ(networkEvents().size(), 2u);

  core_->captureURLParameters(false);
  scheduler_->runUntilIdle();
  ASSERT_TRUE(finish(manager_->get(request(host + "/items?q=secret"))));
  auto events = networkEvents();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events.back()["host"], host + "/items");
  EXPECT_EQ(events.back()["parameters"], "");
}

// A request still running when the manager is destroyed is recorded once, as cancelled, and so is
// one the application aborts; the finished one beside them once, as it ended. Nothing is recorded
// while the network feature is not registered, and the application's replies are untouched.
TEST_F(NetworkAccessManagerTest, UnfinishedRequestsAndNoFeature) {
  const std::string host = host_.base();
  ASSERT_TRUE(finish(manager_->get(request(host + "/items"))));
  QNetworkReply* aborted = manager_->get(request(host + "/slow?aborted"));
  aborted->abort();
  ASSERT_TRUE(aborted->isFinished());
  manager_->get(request(host + "/slow?inflight"));
  ASSERT_TRUE(runUntil([&] { return host_.holds("inflight"); }));
  delete manager_;
  manager_ = nullptr;

  auto events = networkEvents();
  ASSERT_EQ(events.size(), 3u);
  const Json expected[] = {
      {{"host", host + "/items"}, {"parameters", ""}, {"code", 200}, {"error", ""}},
      {{"host", host + "/slow"}, {"parameters", "aborted"}, {"code", 0}, {"error", "cancelled"}},
      {{"host", host + "/slow"}, {"parameters", "inflight"}, {"code", 0}, {"error", "cancelled"}},
  };
  for (std::size_t i = 0; i < events.size(); ++i) {
    for (const auto& [key, value] : expected[i].items()) EXPECT_EQ(events[i][key], value) << i << " " << key;
  }

  core_->unregisterFeature(FeatureKey::kNetwork);
  NetworkAccessManager manager;
  manager.setProxy(QNetworkProxy::NoProxy);
  EXPECT_EQ(finish(manager.get(request(host + "/items"))), HostServer::kItems);
  EXPECT_EQ(networkEvents().size(), 3u);
}

}  // namespace
}  // namespace obx::qt
