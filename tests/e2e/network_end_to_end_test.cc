// The application's own requests to a server on 127.0.0.1 reach the collector as "network" events of
// the screen they ended on, through the whole SDK; the SDK's own traffic never does.
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "e2e_fixture.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/net/url_session.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace obx::e2e {
namespace {

class ShopScreen : public platform::ViewController {};

constexpr const char* kItems = "[1,2,3]";
constexpr const char* kMissing = "no such item";

// The host application's own server: items, a missing page, orders, a download that breaks off
// after its first bytes, and a page whose hits are counted.
class HostServer {
 public:
  HostServer() {
    server_.Get("/items", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kItems, "application/json");
    });
    server_.Get("/missing", [](const httplib::Request&, httplib::Response& response) {
      response.status = 404;
      response.set_content(kMissing, "text/plain");
    });
    server_.Post("/orders", [](const httplib::Request& request, httplib::Response& response) {
      response.status = 201;
      response.set_content(std::to_string(request.body.size()), "text/plain");
    });
    server_.Get("/partial", [](const httplib::Request&, httplib::Response& response) {
      // Promises 4096 bytes, sends 16, then closes the connection.
      response.set_content_provider(4096, "application/octet-stream",
                                    [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                      if (offset > 0) return false;
                                      sink.write("0123456789abcdef", 16);
                                      return true;
                                    });
    });
    server_.Get("/plain", [this](const httplib::Request&, httplib::Response& response) {
      ++plainHits;
      response.set_content("plain", "text/plain");
    });
    server_.set_keep_alive_max_count(1);
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!server_.is_running() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  }
  ~HostServer() {
    server_.stop();
    thread_.join();
  }

  bool running() const { return port_ > 0 && server_.is_running(); }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
  platform::URL url(const std::string& path) const { return *platform::URL::fromString(base() + path); }

  std::atomic<int> plainHits{0};

 private:
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
};

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
  session_->dataTaskWithURL(host_.url("/items?a=1&b=2"), items.dataHandler())->resume();
  session_->dataTaskWithURL(host_.url("/missing"), missing.dataHandler())->resume();
  platform::URLRequest post(host_.url("/orders"));
  post.httpMethod = "POST";
  post.httpBody = platform::Data(11, 'o');
  session_->dataTaskWithRequest(post, order.dataHandler())->resume();
  session_->downloadTaskWithURL(host_.url("/partial"), broken.downloadHandler())->resume();
  session_->dataTaskWithURL(host_.url("/plain"), nullptr)->resume();
  ASSERT_TRUE(pumpUntil([&] { return items.calls + missing.calls + order.calls + broken.calls == 4; }, 10.0));
  ASSERT_TRUE(pumpUntil([&] { return host_.plainHits == 1; }, 10.0));
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
  const Json* got = withHost(events, host_.base() + "/items");
  ASSERT_TRUE(got);
  EXPECT_EQ(got->at("parameters"), "a=1&b=2");
  EXPECT_EQ(got->at("method"), "GET");
  EXPECT_EQ(got->at("code"), 200);
  EXPECT_EQ(got->at("bytesSent"), 0);
  EXPECT_EQ(got->at("bytesReceived"), 7);
  EXPECT_EQ(got->at("error"), "");
  EXPECT_EQ(got->at("private"), false);
  EXPECT_GE(got->at("duration").get<std::int64_t>(), 0);
  // Whole seconds since 1970, not milliseconds.
  EXPECT_GE(got->at("dateRequest").get<std::int64_t>(), startSecond);
  EXPECT_LE(got->at("dateRequest").get<std::int64_t>(), endSecond);

  got = withHost(events, host_.base() + "/missing");
  ASSERT_TRUE(got);
  EXPECT_EQ(got->at("code"), 404);
  EXPECT_EQ(got->at("bytesReceived"), std::string(kMissing).size());
  EXPECT_EQ(got->at("parameters"), "");

  got = withHost(events, host_.base() + "/orders");
  ASSERT_TRUE(got);
  EXPECT_EQ(got->at("method"), "POST");
  EXPECT_EQ(got->at("code"), 201);
  EXPECT_EQ(got->at("bytesSent"), 11);

  got = withHost(events, host_.base() + "/partial");
  ASSERT_TRUE(got);
  EXPECT_EQ(got->at("code"), 0);
  EXPECT_EQ(got->at("bytesReceived"), 0);
  EXPECT_EQ(got->at("error"), broken.error->localizedDescription());
  EXPECT_FALSE(broken.error->localizedDescription().empty());

  EXPECT_FALSE(withHost(events, host_.base() + "/plain"));
  for (const Json& event : events) {
    EXPECT_NE(event.at("host").get<std::string>().rfind(collector_->baseURL(), 0), 0u) << event.dump();
  }
}

// With captureURLParameters false the query is left out: the host stands alone, the parameters empty.
TEST_F(NetworkEndToEndTest, ParametersClearedWhenNotCaptured) {
  ASSERT_TRUE(startOnScreen(true));
  ASSERT_TRUE(pumpUntil([&] { return core_->feature(FeatureKey::kNetwork) != nullptr; }, 5.0));
  core_->captureURLParameters(false);
  pump(0.3);
  Answer items;
  session_->dataTaskWithURL(host_.url("/items?token=secret"), items.dataHandler())->resume();
  ASSERT_TRUE(pumpUntil([&] { return items.calls == 1; }, 10.0));
  ASSERT_TRUE(endAndDrain());

  const auto events = networkEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].at("host"), host_.base() + "/items");
  EXPECT_EQ(events[0].at("parameters"), "");
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
  session_->dataTaskWithURL(host_.url("/items"), items.dataHandler())->resume();
  ASSERT_TRUE(pumpUntil([&] { return items.calls == 1; }, 10.0));
  ASSERT_TRUE(endAndDrain());
  EXPECT_GE(collector_->screens().size(), 1u);
  EXPECT_TRUE(networkEvents().empty());
}

}  // namespace
}  // namespace obx::e2e
