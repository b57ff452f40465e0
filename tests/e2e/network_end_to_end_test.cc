// The application's own requests to a server on 127.0.0.1 reach the collector as "network" events of
// the screen they ended on, through the whole SDK; the SDK's own traffic never does.
#include <atomic>

#include "e2e_fixture.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/net/url_session.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "testing/host_server.h"

namespace obx::e2e {
namespace {

class ShopScreen : public platform::ViewController {};

using testing::HostServer;
constexpr const char* kItems = HostServer::kItems;
constexpr const char* kMissing = HostServer::kMissing;

// What one application handler got.
struct Answer {
  std::atomic<int> calls{0};
  std::optional<platform::Data> data;
  int status = -1;
  std::optional<platform::URLError> error;

  platform::DataTaskCompletion dataHandler() {
    return [this](std::optional<platform::Data> d, std::shared_ptr<const platform::URLResponse> r,
                  std::optional<platform::URLError> e) {
      data = std::move(d);
      if (auto* http = platform::asHTTPURLResponse(r)) status = http->statusCode();
      error = std::move(e);
      ++calls;
    };
  }
  platform::DownloadTaskCompletion downloadHandler() {
    return [this](std::optional<std::string>, std::shared_ptr<const platform::URLResponse> r,
                  std::optional<platform::URLError> e) {
      if (auto* http = platform::asHTTPURLResponse(r)) status = http->statusCode();
      error = std::move(e);
      ++calls;
    };
  }
};

class NetworkEndToEndTest : public EndToEndTest {
 protected:
  void SetUp() override {
    EndToEndTest::SetUp();
    ASSERT_TRUE(host_.running());
    startCollector();
  }

  // Starts the SDK and shows a screen; true once a batch is current and the features are decided.
  bool startOnScreen(bool networkAnalytics) {
    networkAnalytics_ = networkAnalytics;
    startSDK();
    window_ = std::make_shared<platform::Window>();
    window_->setRootViewController(std::make_shared<ShopScreen>());
    window_->makeKeyAndVisible();
    return pumpUntil(
        [&] {
          return core_->feature(FeatureKey::kRUM) != nullptr &&
                 core_->commonDependencies()->batchCoordinator->batchContext().has_value();
        },
        10.0);
  }

  // Sends the application to the background and waits until every batch has left.
  bool endAndDrain() {
    pump(1.0);
    auto application = platform::Application::shared();
    application->resignActive();
    application->enterBackground();
    return pumpUntil([&] { return spooledBatches().empty(); }, 30.0);
  }

  // The data of every "network" event the collector received.
  std::vector<Json> networkEvents() const {
    std::vector<Json> list;
    for (const auto& screen : collector_->screens()) {
      for (const auto& event : screen.body) {
        if (event.at("t") == "network") list.push_back(event.at("d"));
      }
    }
    return list;
  }
  static const Json* withHost(const std::vector<Json>& events, const std::string& host) {
    for (const Json& event : events) {
      if (event.at("host") == host) return &event;
    }
    return nullptr;
  }

  platform::URL url(const std::string& path) const { return *platform::URL::fromString(host_.base() + path); }

  HostServer host_;
  std::shared_ptr<platform::URLSession> session_ =
      platform::URLSession::make(platform::URLSessionConfiguration::defaultSessionConfiguration(), scheduler_);
  std::shared_ptr<platform::Window> window_;
};

// Each request of the application becomes one "network" event with its host, parameters, method,
// code, sizes and times; a failed download has code 0 and the error's text; a task without a handler
// is not seen; nothing of the SDK's own traffic to the collector is recorded. Every handler runs
// once with the server's answer.
TEST_F(NetworkEndToEndTest, HostRequestsArriveAsNetworkEvents) {
  ASSERT_TRUE(startOnScreen(true));
  ASSERT_TRUE(pumpUntil([&] { return core_->feature(FeatureKey::kNetwork) != nullptr; }, 5.0));
  const auto startSecond = static_cast<std::int64_t>(scheduler_->clock().now());

  Answer items, missing, order, broken;
  session_->dataTaskWithURL(url("/items?a=1&b=2"), items.dataHandler())->resume();
  session_->dataTaskWithURL(url("/missing"), missing.dataHandler())->resume();
  platform::URLRequest post(url("/orders"));
  post.httpMethod = "POST";
  post.httpBody = platform::Data(11, 'o');
  session_->dataTaskWithRequest(post, order.dataHandler())->resume();
  session_->downloadTaskWithURL(url("/partial"), broken.downloadHandler())->resume();
  session_->dataTaskWithURL(url("/plain"), nullptr)->resume();
  ASSERT_TRUE(pumpUntil([&] { return items.calls + missing.calls + order.calls + broken.calls == 4; }, 10.0));
  ASSERT_TRUE(pumpUntil([&] { return host_.plainHits() == 1; }, 10.0));
  const auto endSecond = static_cast<std::int64_t>(scheduler_->clock().now());
  ASSERT_TRUE(endAndDrain());

  // The handlers got what the server sent, once each.
  EXPECT_EQ(items.calls, 1);
  EXPECT_EQ(items.status, 200);
  EXPECT_EQ(items.data, platform::Data(kItems, kItems + 7));
  EXPECT_EQ(missing.status, 404);
  EXPECT_EQ(order.status, 201);
  ASSERT_TRUE(broken.error);

  const auto events = networkEvents();
  EXPECT_EQ(events.size(), 4u);
  const std::pair<const char*, Json> expected[] = {
      {"/items", {{"parameters", "a=1&b=2"}, {"method", "GET"}, {"code", 200}, {"bytesSent", 0},
                  {"bytesReceived", 7}, {"error", ""}, {"private", false}}},
      {"/missing", {{"parameters", ""}, {"code", 404}, {"bytesReceived", std::string(kMissing).size()}}},
      {"/orders", {{"method", "POST"}, {"code", 201}, {"bytesSent", 11}}},
      {"/partial", {{"code", 0}, {"bytesReceived", 0}, {"error", broken.error->localizedDescription()}}},
  };
  for (const auto& [path, fields] : expected) {
    const Json* got = withHost(events, host_.base() + path);
    ASSERT_TRUE(got) << path;
    for (const auto& [key, value] : fields.items()) EXPECT_EQ(got->at(key), value) << path << " " << key;
    EXPECT_GE(got->at("duration").get<std::int64_t>(), 0);
    // Whole seconds since 1970, not milliseconds.
    EXPECT_GE(got->at("dateRequest").get<std::int64_t>(), startSecond);
    EXPECT_LE(got->at("dateRequest").get<std::int64_t>(), endSecond);
  }
  EXPECT_FALSE(broken.error->localizedDescription().empty());

  EXPECT_FALSE(withHost(events, host_.base() + "/plain"));
  for (const Json& event : events) {
    EXPECT_NE(event.at("host").get<std::string>().rfind(collector_->baseURL(), 0), 0u) << event.dump();
  }
}

// networkAnalytics false registers no capture: the six factory operations keep their own
// implementations and the application's requests leave no trace.
TEST_F(NetworkEndToEndTest, NoCaptureWithoutNetworkAnalytics) {
  ASSERT_TRUE(startOnScreen(false));
  EXPECT_EQ(core_->feature(FeatureKey::kNetwork), nullptr);
  platform::Class* cls = platform::URLSession::runtimeClass();
  for (const char* selector :
       {platform::URLSession::kDataTaskWithRequest, platform::URLSession::kDataTaskWithURL,
        platform::URLSession::kUploadTaskWithRequestFromData, platform::URLSession::kUploadTaskWithRequestFromFile,
        platform::URLSession::kDownloadTaskWithRequest, platform::URLSession::kDownloadTaskWithURL}) {
    EXPECT_EQ(cls->instanceMethod(selector)->implementation(), platform::URLSession::originalImplementation(selector))
        << selector;
  }
  Answer items;
  session_->dataTaskWithURL(url("/items"), items.dataHandler())->resume();
  ASSERT_TRUE(pumpUntil([&] { return items.calls == 1; }, 10.0));
  ASSERT_TRUE(endAndDrain());
  EXPECT_GE(collector_->screens().size(), 1u);
  EXPECT_TRUE(networkEvents().empty());
}

}  // namespace
}  // namespace obx::e2e
