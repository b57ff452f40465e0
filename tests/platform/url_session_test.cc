#include "platform/net/url_session.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "platform/dispatch/real_scheduler.h"
#include "store/store_test_support.h"

namespace obx::platform {
namespace {

constexpr auto kWait = std::chrono::seconds(10);

Data patternBytes(std::size_t size, unsigned seed) {
  Data bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>((i * 31 + seed) % 251);
  return bytes;
}

std::string asString(const Data& bytes) { return std::string(bytes.begin(), bytes.end()); }

struct DataOutcome {
  std::optional<Data> data;
  std::shared_ptr<const URLResponse> response;
  std::optional<URLError> error;
  bool onSessionQueue = false;
};

// A local HTTP server on 127.0.0.1 with the routes the tests need, and a URL session against it.
class URLSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.Get("/hello", [](const httplib::Request& request, httplib::Response& response) {
      response.set_header("X-Obx-Test", "abc");
      response.set_content("hello " + request.get_header_value("X-Client"), "text/plain");
    });
    server_.Post("/echo", [this](const httplib::Request& request, httplib::Response& response) {
      {
        std::lock_guard lock(mutex_);
        received_ = request.body;
        receivedMethod_ = request.method;
        receivedContentType_ = request.get_header_value("Content-Type");
      }
      response.set_content(std::to_string(request.body.size()), "text/plain");
    });
    server_.Get(R"(/status/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
      response.status = std::stoi(request.matches[1]);
      if (response.status != 204) response.set_content("status body", "text/plain");
    });
    server_.Get("/blob", [this](const httplib::Request&, httplib::Response& response) {
      response.set_content(asString(blob_), "application/octet-stream");
    });
    server_.Get("/slow", [this](const httplib::Request&, httplib::Response& response) {
      std::unique_lock lock(mutex_);
      released_.wait_for(lock, kWait, [this] { return release_; });
      response.set_content("late", "text/plain");
    });
    // One request per connection, so that stopping the server never waits for an idle one.
    server_.set_keep_alive_max_count(1);
    // The socket listens from here on; requests wait in its backlog until the accept loop runs.
    port_ = server_.bind_to_any_port("127.0.0.1");
    ASSERT_GT(port_, 0);
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    // stop() only ends a server whose accept loop has begun.
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!server_.is_running() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    ASSERT_TRUE(server_.is_running());
  }

  void TearDown() override {
    {
      std::lock_guard lock(mutex_);
      release_ = true;
    }
    released_.notify_all();
    server_.stop();
    thread_.join();
  }

  URL url(const std::string& path) const {
    return *URL::fromString("http://127.0.0.1:" + std::to_string(port_) + path);
  }

  // Runs a data task made by `make` and waits for its completion.
  template <typename Make>
  DataOutcome runData(Make make) {
    std::promise<DataOutcome> done;
    auto task =
        make([&, queue = session_->delegateQueue()](
                 std::optional<Data> data, std::shared_ptr<const URLResponse> response, std::optional<URLError> error) {
          done.set_value(DataOutcome{std::move(data), std::move(response), std::move(error), queue->isCurrent()});
        });
    EXPECT_EQ(task->state(), URLSessionTask::State::suspended);
    task->resume();
    auto future = done.get_future();
    if (future.wait_for(kWait) != std::future_status::ready) {
      ADD_FAILURE() << "no completion";
      return {};
    }
    return future.get();
  }

  std::string received() {
    std::lock_guard lock(mutex_);
    return received_;
  }

  std::shared_ptr<RealScheduler> scheduler_ = std::make_shared<RealScheduler>();
  std::shared_ptr<URLSession> session_ =
      URLSession::make(URLSessionConfiguration::defaultSessionConfiguration(), scheduler_);
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  Data blob_ = patternBytes(200 * 1024 + 7, 3);

  std::mutex mutex_;
  std::condition_variable released_;
  bool release_ = false;
  std::string received_;
  std::string receivedMethod_;
  std::string receivedContentType_;
};

// A GET brings the body, the status and the headers (looked up in any case), with the request's own
// headers sent; the completion runs on the session's queue.
TEST_F(URLSessionTest, DataTaskGet) {
  URLRequest request(url("/hello"));
  request.setValue("obx", "X-Client");
  auto outcome = runData([&](DataTaskCompletion done) { return session_->dataTaskWithRequest(request, done); });
  EXPECT_FALSE(outcome.error);
  ASSERT_TRUE(outcome.data);
  EXPECT_EQ(asString(*outcome.data), "hello obx");
  const auto* http = asHTTPURLResponse(outcome.response);
  ASSERT_NE(http, nullptr);
  EXPECT_EQ(http->statusCode(), 200);
  EXPECT_EQ(http->valueForHTTPHeaderField("x-obx-test"), "abc");
  EXPECT_EQ(http->valueForHTTPHeaderField("Content-Type"), "text/plain");
  EXPECT_TRUE(outcome.onSessionQueue);

  auto byURL = runData([&](DataTaskCompletion done) { return session_->dataTaskWithURL(url("/hello"), done); });
  ASSERT_TRUE(byURL.data);
  EXPECT_EQ(asString(*byURL.data), "hello ");
}

// Error statuses reach the completion as responses with their body, not as errors.
TEST_F(URLSessionTest, StatusCodesReachTheCompletion) {
  for (int status : {201, 204, 404, 413, 500, 503}) {
    SCOPED_TRACE(status);
    auto outcome = runData([&](DataTaskCompletion done) {
      return session_->dataTaskWithRequest(URLRequest(url("/status/" + std::to_string(status))), done);
    });
    EXPECT_FALSE(outcome.error);
    const auto* http = asHTTPURLResponse(outcome.response);
    ASSERT_NE(http, nullptr);
    EXPECT_EQ(http->statusCode(), status);
    ASSERT_TRUE(outcome.data);
    EXPECT_EQ(asString(*outcome.data), status == 204 ? "" : "status body");
  }
}

// A POST with a body, an upload from data and an upload from a file all deliver their exact bytes.
TEST_F(URLSessionTest, UploadsDeliverTheirBytes) {
  const Data body = patternBytes(70 * 1024 + 3, 11);
  URLRequest request(url("/echo"));
  request.httpMethod = "POST";
  request.setValue("application/octet-stream", "Content-Type");

  URLRequest withBody = request;
  withBody.httpBody = body;
  auto posted = runData([&](DataTaskCompletion done) { return session_->dataTaskWithRequest(withBody, done); });
  ASSERT_TRUE(posted.data);
  EXPECT_EQ(asString(*posted.data), std::to_string(body.size()));
  EXPECT_EQ(received(), asString(body));
  {
    std::lock_guard lock(mutex_);
    EXPECT_EQ(receivedMethod_, "POST");
    EXPECT_EQ(receivedContentType_, "application/octet-stream");
  }

  const Data other = patternBytes(1000, 5);
  auto fromData =
      runData([&](DataTaskCompletion done) { return session_->uploadTaskWithRequestFromData(request, other, done); });
  EXPECT_FALSE(fromData.error);
  EXPECT_EQ(received(), asString(other));
  EXPECT_TRUE(fromData.onSessionQueue);

  const auto path = std::filesystem::temp_directory_path() / ("obx-upload-" + std::to_string(port_) + ".bin");
  const Data fileBytes = patternBytes(300 * 1024 + 1, 9);
  testing::writeBytes(path, asString(fileBytes));
  auto fromFile = runData([&](DataTaskCompletion done) {
    return session_->uploadTaskWithRequestFromFile(request, URL::fileURL(path.string()), done);
  });
  std::filesystem::remove(path);
  EXPECT_FALSE(fromFile.error);
  ASSERT_TRUE(fromFile.data);
  EXPECT_EQ(asString(*fromFile.data), std::to_string(fileBytes.size()));
  EXPECT_EQ(received(), asString(fileBytes));

  auto missing = runData([&](DataTaskCompletion done) {
    return session_->uploadTaskWithRequestFromFile(request, URL::fileURL("/nonexistent/obx/file"), done);
  });
  ASSERT_TRUE(missing.error);
  EXPECT_FALSE(missing.data);
}

// A download leaves the body in a file that exists while the handler runs and is gone afterwards.
TEST_F(URLSessionTest, DownloadToAFile) {
  std::promise<void> done;
  Data seen;
  std::string location;
  bool onQueue = false;
  int status = 0;
  auto task = session_->downloadTaskWithURL(
      url("/blob"),
      [&](std::optional<std::string> path, std::shared_ptr<const URLResponse> response, std::optional<URLError> error) {
        EXPECT_FALSE(error);
        if (path) {
          location = *path;
          std::ifstream in(*path, std::ios::binary);
          seen.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
        if (const auto* http = asHTTPURLResponse(response)) status = http->statusCode();
        onQueue = session_->delegateQueue()->isCurrent();
        done.set_value();
      });
  task->resume();
  ASSERT_EQ(done.get_future().wait_for(kWait), std::future_status::ready);
  session_->delegateQueue()->sync([] {});
  EXPECT_EQ(status, 200);
  EXPECT_TRUE(onQueue);
  EXPECT_EQ(seen, blob_);
  EXPECT_FALSE(location.empty());
  EXPECT_FALSE(std::filesystem::exists(location));
  EXPECT_EQ(task->state(), URLSessionTask::State::completed);
}

// A request that outlives its timeout fails with the timed-out error and no data or response;
// cancelling a running task completes it once with the cancelled error; a refused connection gives
// its own error.
TEST_F(URLSessionTest, TimeoutCancelAndRefusedConnection) {
  URLRequest slow(url("/slow"));
  slow.timeoutInterval = 0.3;
  auto timedOut = runData([&](DataTaskCompletion done) { return session_->dataTaskWithRequest(slow, done); });
  ASSERT_TRUE(timedOut.error);
  EXPECT_EQ(timedOut.error->domain, kURLErrorDomain);
  EXPECT_EQ(timedOut.error->code, URLError::kTimedOut);
  EXPECT_EQ(timedOut.error->localizedDescription(), "The request timed out.");
  EXPECT_FALSE(timedOut.data);
  EXPECT_EQ(timedOut.response, nullptr);
  EXPECT_TRUE(timedOut.onSessionQueue);

  std::promise<DataOutcome> done;
  int calls = 0;
  auto task = session_->dataTaskWithURL(
      url("/slow"),
      [&](std::optional<Data> data, std::shared_ptr<const URLResponse> response, std::optional<URLError> error) {
        if (++calls == 1) done.set_value(DataOutcome{std::move(data), std::move(response), std::move(error)});
      });
  task->resume();
  task->cancel();
  auto future = done.get_future();
  ASSERT_EQ(future.wait_for(kWait), std::future_status::ready);
  auto outcome = future.get();
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->code, URLError::kCancelled);
  EXPECT_FALSE(outcome.data);
  task->cancel();
  session_->delegateQueue()->sync([] {});
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(task->error()->code, URLError::kCancelled);

  // Port 1 on the loopback is closed on any test machine.
  auto refused = runData([&](DataTaskCompletion done) {
    return session_->dataTaskWithURL(*URL::fromString("http://127.0.0.1:1/"), done);
  });
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code, URLError::kCannotConnectToHost);
}

// The factory operations can be replaced through the NSURLSession method table: the replacement
// sees the call and wraps the handler, calls the original, and restoring it puts the original back.
TEST_F(URLSessionTest, FactoryOperationIsReplaceableAndRestorable) {
  Class* cls = classFromString("NSURLSession");
  ASSERT_EQ(cls, URLSession::runtimeClass());
  Method* method = cls->instanceMethod(URLSession::kDataTaskWithRequest);
  std::atomic<int> seenCalls{0};
  std::atomic<int> wrappedCompletions{0};
  IMP previous = methodGetImplementation(method);
  methodSetImplementation(
      method, Implementation::make<URLSession::DataTaskWithRequestIMP>([previous, &seenCalls, &wrappedCompletions](
                                                                           Object& self, const URLRequest& request,
                                                                           DataTaskCompletion completion) {
        ++seenCalls;
        DataTaskCompletion wrapper = [completion, &wrappedCompletions](auto data, auto response, auto error) {
          ++wrappedCompletions;
          completion(std::move(data), std::move(response), std::move(error));
        };
        return (*previous->as<URLSession::DataTaskWithRequestIMP>())(self, request, wrapper);
      }));
  auto hooked =
      runData([&](DataTaskCompletion done) { return session_->dataTaskWithRequest(URLRequest(url("/hello")), done); });
  EXPECT_EQ(seenCalls.load(), 1);
  EXPECT_EQ(wrappedCompletions.load(), 1);
  ASSERT_TRUE(hooked.data);
  EXPECT_EQ(asString(*hooked.data), "hello ");

  methodSetImplementation(method, previous);
  EXPECT_EQ(methodGetImplementation(method), URLSession::originalImplementation(URLSession::kDataTaskWithRequest));
  runData([&](DataTaskCompletion done) { return session_->dataTaskWithRequest(URLRequest(url("/hello")), done); });
  EXPECT_EQ(seenCalls.load(), 1);
}

// Text that is not an absolute URL gives no URL; the parts of one that is are read back.
TEST(URLTest, ParsesAbsoluteURLsOnly) {
  for (const char* bad : {"", "collect.example.test/asset", "http://", "http://exa mple.test/", "://x"}) {
    EXPECT_FALSE(URL::fromString(bad).has_value()) << bad;
  }
  auto url = URL::fromString("https://collect.example.test:8443/asset/?type=zip&wid=1");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme(), "https");
  EXPECT_EQ(url->host(), "collect.example.test");
  EXPECT_EQ(url->port(), 8443);
  EXPECT_EQ(url->path(), "/asset/");
  EXPECT_EQ(url->query(), "type=zip&wid=1");
}

}  // namespace
}  // namespace obx::platform
