// Network capture's cost to the application: one GET of 1 KB from a server on 127.0.0.1, timed from
// making the task to the application's handler, with the URL session's factory operations as they
// are and with the network feature's interceptors installed over them, recording every request
// into a store as a "network" event of a current screen. The difference of the two figures is the
// latency the capture adds to a request. Reports microseconds per request (real time).
//
// A request over loopback varies by far more than the capture costs, so a second pair takes the
// network out: the factory operation is answered by a stand-in whose task calls the handler at once
// with 1 KB when resumed. That pair gives the caller's own cost of the capture: the stand-in, the
// wrapping handler and the hand-over to the notifier (the recording itself then runs on the SDK's
// queues, not on the caller's thread).
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <stdlib.h>

#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "network/network_core.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/net/url_session.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"

namespace {

// A screen that is always current, so that every request is recorded.
class OneScreen final : public obx::BatchCoordinatorObserving {
 public:
  explicit OneScreen(double now) : batch_{"BENCH_20260101000000", {"BENCH", now, "Bench", {390, 844}, false, false}} {}
  void add(std::shared_ptr<obx::BatchObserverValue>) override {}
  void remove(const std::shared_ptr<obx::BatchObserverValue>&) override {}
  std::optional<obx::BatchContext> batchContext() const override { return batch_; }

 private:
  obx::BatchContext batch_;
};

struct Loopback {
  Loopback() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obx-network-bench-XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    obx::platform::setSandboxRoot(root / "sandbox");
    server.Get("/items", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(std::string(1024, 'i'), "application/json");
    });
    port = server.bind_to_any_port("127.0.0.1");
    thread = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::yield();
    url = *obx::platform::URL::fromString("http://127.0.0.1:" + std::to_string(port) + "/items?page=1");

    obx::Configuration settings("ACC98765", "PROP1234", obx::Consent::analyticsAndRecording, false, true, false, false,
                                true);
    settings.endpoint = obx::Endpoint::custom("http://collect.invalid", "http://collect.invalid/replay/");
    configuration = std::make_shared<obx::SDKConfiguration>(settings, obx::Platform{}, scheduler);
    auto queue = obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
    auto repository = std::make_shared<obx::Repository>(
        configuration, obx::FileStorage::make(queue, std::make_shared<obx::Security>()), nullptr, 16384.0, scheduler);
    dataController = std::make_shared<obx::DataController>(repository);
  }
  ~Loopback() {
    server.stop();
    thread.join();
    std::filesystem::remove_all(root);
  }

  // One request, from making the task to the end of its handler.
  void request() {
    std::unique_lock lock(mutex);
    bool done = false;
    session
        ->dataTaskWithURL(url,
                          [&](std::optional<obx::platform::Data> data, auto, auto) {
                            benchmark::DoNotOptimize(data);
                            std::lock_guard inner(mutex);
                            done = true;
                            finished.notify_one();
                          })
        ->resume();
    finished.wait(lock, [&] { return done; });
  }

  std::shared_ptr<obx::platform::RealScheduler> scheduler = std::make_shared<obx::platform::RealScheduler>();
  std::shared_ptr<obx::platform::URLSession> session =
      obx::platform::URLSession::make(obx::platform::URLSessionConfiguration::defaultSessionConfiguration(), scheduler);
  std::filesystem::path root;
  httplib::Server server;
  std::thread thread;
  int port = 0;
  obx::platform::URL url = obx::platform::URL::fileURL("/");
  std::shared_ptr<obx::SDKConfiguration> configuration;
  std::shared_ptr<obx::DataController> dataController;
  std::mutex mutex;
  std::condition_variable finished;
};

Loopback& loopback() {
  static Loopback* instance = new Loopback();
  return *instance;
}

void BM_RequestUncaptured(benchmark::State& state) {
  Loopback& l = loopback();
  for (auto _ : state) l.request();
  state.SetLabel("factory operations as they are");
}
BENCHMARK(BM_RequestUncaptured)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2.0);

void BM_RequestIntercepted(benchmark::State& state) {
  Loopback& l = loopback();
  auto core = obx::NetworkCore::make(
      obx::NetworkDependencies{std::make_shared<OneScreen>(l.scheduler->clock().now()), l.configuration, nullptr},
      l.dataController, l.scheduler);
  for (auto _ : state) l.request();
  state.SetLabel("interceptors installed, every request recorded");
  core.reset();
}
BENCHMARK(BM_RequestIntercepted)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2.0);

// The factory operation answered at once, without a network: resume() calls the handler inline.
class InstantAnswers {
 public:
  InstantAnswers() {
    method_ = obx::platform::URLSession::runtimeClass()->instanceMethod(obx::platform::URLSession::kDataTaskWithURL);
    previous_ = obx::platform::methodSetImplementation(
        method_,
        obx::platform::Implementation::make<obx::platform::URLSession::DataTaskWithURLIMP>(
            [](obx::platform::Object&, const obx::platform::URL& url, obx::platform::DataTaskCompletion handler) {
              auto response =
                  std::make_shared<obx::platform::HTTPURLResponse>(url, 200, obx::platform::HTTPHeaders{}, 1024);
              return obx::platform::URLSessionDataTask::make(obx::platform::URLRequest(url), [handler, response] {
                handler(obx::platform::Data(1024, 'i'), response, std::nullopt);
              });
            }));
  }
  ~InstantAnswers() { obx::platform::methodSetImplementation(method_, previous_); }

 private:
  obx::platform::Method* method_ = nullptr;
  obx::platform::IMP previous_;
};

void instantRequests(benchmark::State& state, Loopback& l) {
  for (auto _ : state) {
    bool done = false;
    l.session
        ->dataTaskWithURL(l.url,
                          [&](std::optional<obx::platform::Data> data, auto, auto) {
                            benchmark::DoNotOptimize(data);
                            done = true;
                          })
        ->resume();
    benchmark::DoNotOptimize(done);
  }
}

void BM_InstantAnswerUncaptured(benchmark::State& state) {
  Loopback& l = loopback();
  InstantAnswers answers;
  instantRequests(state, l);
}
BENCHMARK(BM_InstantAnswerUncaptured)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);

void BM_InstantAnswerIntercepted(benchmark::State& state) {
  Loopback& l = loopback();
  InstantAnswers answers;
  auto core = obx::NetworkCore::make(
      obx::NetworkDependencies{std::make_shared<OneScreen>(l.scheduler->clock().now()), l.configuration, nullptr},
      l.dataController, l.scheduler);
  instantRequests(state, l);
  core.reset();
}
BENCHMARK(BM_InstantAnswerIntercepted)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);

}  // namespace
