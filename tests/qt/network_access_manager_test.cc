// The Qt network manager making real requests to local servers on 127.0.0.1 through Qt's event loop,
// recorded by a Core whose network feature is the real one: each request must come out as the
// "network" event the feature makes of a URL session's request, in the Core's store.
#include "qt/network_access_manager.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>

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
#include "testing/fake_reachability.h"

namespace obx::qt {
namespace {

constexpr const char* kItems = "[1,2,3]";
constexpr const char* kMissing = "no such item";
constexpr auto kWait = std::chrono::seconds(10);

// An HTTP server on 127.0.0.1 with the routes `route` adds, and "/slow", which answers only once
// released (or after kWait) and notes the query of each request it holds.
class LocalServer {
 public:
  explicit LocalServer(const std::function<void(httplib::Server&)>& route) {
    route(server_);
    server_.Get("/slow", [this](const httplib::Request& request, httplib::Response& response) {
      std::unique_lock lock(mutex_);
      held_.push_back(request.target.substr(request.target.find('?') + 1));
      released_.wait_for(lock, kWait, [this] { return release_; });
      response.set_content("late", "text/plain");
    });
    server_.set_keep_alive_max_count(1);
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!server_.is_running() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  }
  ~LocalServer() {
    {
      std::lock_guard lock(mutex_);
      release_ = true;
    }
    released_.notify_all();
    server_.stop();
    thread_.join();
  }

  bool running() const { return port_ > 0 && server_.is_running(); }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
  bool holds(const std::string& query) {
    std::lock_guard lock(mutex_);
    return std::find(held_.begin(), held_.end(), query) != held_.end();
  }

 private:
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  std::mutex mutex_;
  std::condition_variable released_;
  bool release_ = false;
  std::vector<std::string> held_;
};

// A port on 127.0.0.1 that refuses connections: bound, never listening, held for the test's life.
class ClosedPort {
 public:
  ClosedPort() {
    socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
  }
  ~ClosedPort() { ::close(socket_); }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  int socket_ = -1;
  int port_ = 0;
};

// A body that can only be read through once, its length unknown until it ends.
class StreamBody final : public QIODevice {
 public:
  StreamBody(QByteArray data, QObject* parent) : QIODevice(parent), data_(std::move(data)) {
    open(QIODevice::ReadOnly);
  }
  bool isSequential() const override { return true; }
  qint64 bytesAvailable() const override { return data_.size() - offset_ + QIODevice::bytesAvailable(); }

 protected:
  qint64 readData(char* out, qint64 max) override {
    const qint64 count = std::min<qint64>(max, data_.size() - offset_);
    std::memcpy(out, data_.constData() + offset_, static_cast<std::size_t>(count));
    offset_ += count;
    // The end is told once the reader has taken everything, as a socket or a pipe tells it.
    if (offset_ == data_.size() && !ended_) {
      ended_ = true;
      QTimer::singleShot(0, this, [this] { emit readChannelFinished(); });
    }
    return count;
  }
  qint64 writeData(const char*, qint64) override { return -1; }

 private:
  QByteArray data_;
  qint64 offset_ = 0;
  bool ended_ = false;
};

class IdleFeature final : public Feature {
 public:
  explicit IdleFeature(std::string key) : key_(std::move(key)) {}
  std::string key() const override { return key_; }

 private:
  std::string key_;
};

class NetworkAccessManagerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    static int argc = 1;
    static char name[] = "obx_qt_tests";
    static char* argv[] = {name, nullptr};
    // One application object for the whole program, as Qt wants it; kept to the end.
    if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
  }

  void SetUp() override {
    ASSERT_TRUE(host_.running() && collector_.running());
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    core_ = Core::make(scheduler_, [](std::shared_ptr<platform::Scheduler>) {
      auto reachability = std::make_shared<testing::FakeReachability>();
      reachability->set(platform::Reachability::Connection::wifi);
      return reachability;
    });
    // Only the network feature is real: the others would record and upload beside it.
    for (const char* key : {FeatureKey::kUpload, FeatureKey::kCrashReport, FeatureKey::kRUM, FeatureKey::kSVR,
                            FeatureKey::kBridge}) {
      core_->setFeatureBuilder(key, [key](const CommonDependencies&, std::shared_ptr<DataController>) {
        return std::make_shared<IdleFeature>(key);
      });
    }
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

  QNetworkRequest request(const std::string& url) const { return QNetworkRequest(QUrl(QString::fromStdString(url))); }

  // Runs Qt's event loop until `done`, at most kWait.
  static bool runUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!done() && std::chrono::steady_clock::now() < deadline) {
      QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return done();
  }
  static bool finish(QNetworkReply* reply) { return runUntil([reply] { return reply->isFinished(); }); }

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

  static Json inRecordOrder(const Json& values) {
    Json ordered = Json::object();
    for (const char* key : {"host", "parameters", "method", "code", "dateRequest", "duration", "bytesSent",
                            "bytesReceived", "error", "private"}) {
      ordered[key] = values.at(key);
    }
    return ordered;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  LocalServer host_{[](httplib::Server& server) {
    server.Get("/items", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kItems, "application/json");
    });
    server.Get("/missing", [](const httplib::Request&, httplib::Response& response) {
      response.status = 404;
      response.set_content(kMissing, "text/plain");
    });
    server.Post("/orders", [](const httplib::Request& request, httplib::Response& response) {
      response.status = 201;
      response.set_content(std::to_string(request.body.size()), "text/plain");
    });
    server.Put("/orders", [](const httplib::Request&, httplib::Response& response) {
      response.status = 500;
      response.set_content("down", "text/plain");
    });
    server.Patch("/orders", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.body, "text/plain");
    });
    server.Delete("/orders", [](const httplib::Request&, httplib::Response& response) { response.status = 204; });
  }};
  // The collection endpoint the SDK itself talks to.
  LocalServer collector_{[](httplib::Server& server) {
    server.Post("/asset/", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("stored", "text/plain");
    });
  }};
  ClosedPort closed_;
  std::shared_ptr<Core> core_;
  std::shared_ptr<DataController> store_;
  std::optional<BatchContext> batch_;
  NetworkAccessManager* manager_ = new NetworkAccessManager;
};

// Each request becomes one event with the URL split at "?", the method, the status, the sizes
// sent and received, its creation date and the time to its end. A 404 or a 500 is a status, not an
// error; a refused connection has code 0 and the SDK's text for it. The application reads its
// replies whole, as the server sent them.
TEST_F(NetworkAccessManagerTest, EachRequestBecomesOneEvent) {
  const std::string host = host_.base();
  struct Case {
    const char* what;
    std::function<QNetworkReply*()> send;
    Json expected;
    std::string body;
  };
  const Case cases[] = {
      {"GET with a query",
       [&] { return manager_->get(request(host + "/items?a=1&b=2")); },
       {{"host", host + "/items"}, {"parameters", "a=1&b=2"}, {"method", "GET"}, {"code", 200},
        {"bytesSent", 0}, {"bytesReceived", 7}, {"error", ""}},
       kItems},
      {"POST with a body, the URL ending in \"?\"",
       [&] { return manager_->post(request(host + "/orders?"), QByteArray("1234567")); },
       {{"host", host + "/orders"}, {"parameters", ""}, {"method", "POST"}, {"code", 201},
        {"bytesSent", 7}, {"bytesReceived", 1}, {"error", ""}},
       "7"},
      {"PUT answered 500",
       [&] { return manager_->put(request(host + "/orders?x=1"), QByteArray("abc")); },
       {{"host", host + "/orders"}, {"parameters", "x=1"}, {"method", "PUT"}, {"code", 500},
        {"bytesSent", 3}, {"bytesReceived", 4}, {"error", ""}},
       "down"},
      {"GET answered 404",
       [&] { return manager_->get(request(host + "/missing")); },
       {{"host", host + "/missing"}, {"parameters", ""}, {"method", "GET"}, {"code", 404},
        {"bytesSent", 0}, {"bytesReceived", 12}, {"error", ""}},
       kMissing},
      {"custom verb with a body from a stream of unknown length",
       [&] {
         auto* body = new StreamBody("patch", manager_);
         return manager_->sendCustomRequest(request(host + "/orders"), "PATCH", body);
       },
       {{"host", host + "/orders"}, {"parameters", ""}, {"method", "PATCH"}, {"code", 200},
        {"bytesSent", 5}, {"bytesReceived", 5}, {"error", ""}},
       "patch"},
      {"DELETE answered 204",
       [&] { return manager_->deleteResource(request(host + "/orders")); },
       {{"host", host + "/orders"}, {"parameters", ""}, {"method", "DELETE"}, {"code", 204},
        {"bytesSent", 0}, {"bytesReceived", 0}, {"error", ""}},
       ""},
      {"HEAD",
       [&] { return manager_->head(request(host + "/items")); },
       {{"host", host + "/items"}, {"parameters", ""}, {"method", "HEAD"}, {"code", 200},
        {"bytesSent", 0}, {"bytesReceived", 0}, {"error", ""}},
       ""},
      {"connection refused, the middle query piece lost",
       [&] { return manager_->get(request(closed_.base() + "/items?x=1?y=2")); },
       {{"host", closed_.base() + "/items"}, {"parameters", "y=2"}, {"method", "GET"}, {"code", 0},
        {"bytesSent", 0}, {"bytesReceived", 0}, {"error", "Could not connect to the server."}},
       ""},
  };

  std::size_t recorded = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const double created = scheduler_->now();
    QNetworkReply* reply = c.send();
    scheduler_->advance(0.125);
    ASSERT_TRUE(finish(reply));
    EXPECT_EQ(reply->readAll().toStdString(), c.body);
    // Deleting a finished reply records nothing more.
    delete reply;

    auto events = networkEvents();
    ASSERT_EQ(events.size(), ++recorded);
    Json values = c.expected;
    values["dateRequest"] = static_cast<std::int64_t>(created);
    values["duration"] = 125;
    values["private"] = false;
    EXPECT_EQ(events.back(), inRecordOrder(values));
  }
}

// URLs follow the feature's rules: credentials and fragments are treated as for a URL session's
// request of the same text, and parameters are left out when not captured. Requests to the SDK's
// own collection endpoint, answered or not, are not recorded.
TEST_F(NetworkAccessManagerTest, URLRulesAndOwnTraffic) {
  const std::string host = host_.base();
  const std::string hostWithCredentials = "http://user:secret@" + host.substr(std::string("http://").size());
  const Common common = core_->configuration()->common();
  const std::vector<std::string> sameAsURLSession = {hostWithCredentials + "/items?token=1#top",
                                                     host + "/items#section"};
  for (const std::string& url : sameAsURLSession) {
    SCOPED_TRACE(url);
    QNetworkReply* reply = manager_->get(request(url));
    ASSERT_TRUE(finish(reply));
    delete reply;
    URLSessionDataIntercepted value;
    value.url = platform::URL::fromString(url);
    value.method = "GET";
    auto expected = NetworkEventBuilder::build(value, common, scheduler_->now());
    ASSERT_TRUE(expected);
    auto events = networkEvents();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()["host"], expected->host);
    EXPECT_EQ(events.back()["parameters"], expected->parameters);
  }

  for (const std::string& own : {collector_.base() + "/asset/?type=zip&wid=prop", collector_.base()}) {
    QNetworkReply* reply = manager_->post(request(own), QByteArray("zip"));
    ASSERT_TRUE(finish(reply));
    EXPECT_TRUE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) << own;
    delete reply;
  }
  EXPECT_EQ(networkEvents().size(), sameAsURLSession.size());

  core_->captureURLParameters(false);
  scheduler_->runUntilIdle();
  QNetworkReply* reply = manager_->get(request(host + "/items?q=secret"));
  ASSERT_TRUE(finish(reply));
  delete reply;
  auto events = networkEvents();
  ASSERT_EQ(events.size(), sameAsURLSession.size() + 1);
  EXPECT_EQ(events.back()["host"], host + "/items");
  EXPECT_EQ(events.back()["parameters"], "");
}

// A request still running when the manager is destroyed is recorded once, as cancelled, and so is
// one the application aborts; the finished one beside them once, as it ended. Nothing is recorded
// while the network feature is not registered, and the application's replies are untouched.
TEST_F(NetworkAccessManagerTest, UnfinishedRequestsAndNoFeature) {
  const std::string host = host_.base();
  QNetworkReply* done = manager_->get(request(host + "/items"));
  ASSERT_TRUE(finish(done));
  QNetworkReply* aborted = manager_->get(request(host + "/slow?aborted"));
  aborted->abort();
  ASSERT_TRUE(aborted->isFinished());
  manager_->get(request(host + "/slow?inflight"));
  ASSERT_TRUE(runUntil([&] { return host_.holds("inflight"); }));
  delete manager_;
  manager_ = nullptr;

  auto events = networkEvents();
  ASSERT_EQ(events.size(), 3u);
  struct Expected {
    std::string host;
    std::string parameters;
    int code;
    const char* error;
  };
  const Expected expected[] = {{host + "/items", "", 200, ""},
                               {host + "/slow", "aborted", 0, "cancelled"},
                               {host + "/slow", "inflight", 0, "cancelled"}};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i]["host"], expected[i].host);
    EXPECT_EQ(events[i]["parameters"], expected[i].parameters);
    EXPECT_EQ(events[i]["code"], expected[i].code);
    EXPECT_EQ(events[i]["error"], expected[i].error);
  }

  core_->unregisterFeature(FeatureKey::kNetwork);
  NetworkAccessManager manager;
  manager.setProxy(QNetworkProxy::NoProxy);
  QNetworkReply* unrecorded = manager.get(request(host + "/items"));
  ASSERT_TRUE(finish(unrecorded));
  EXPECT_EQ(unrecorded->readAll().toStdString(), kItems);
  EXPECT_EQ(networkEvents().size(), 3u);
}

}  // namespace
}  // namespace obx::qt
