// A host that sends goals and dimensions in a tight loop from four threads: events written per
// second through the whole path (facade, tracked events, analytics core, encrypted spool), and the
// longest time one facade call held its calling thread.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "base/logger.h"
#include "core/core.h"
#include "obx/facade.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace {

class BenchScreen : public obx::platform::ViewController {};

std::atomic<long> savedEvents{0};

void startHost() {
  static bool started = false;
  if (started) return;
  started = true;
  auto sandbox = std::filesystem::temp_directory_path() / "obx-bench-facade";
  std::filesystem::remove_all(sandbox);
  obx::platform::setSandboxRoot(sandbox);
  obx::Logger::setLineObserver([](const std::string& line, obx::LogLevel) {
    if (line.find(">: Save event ") != std::string::npos) savedEvents.fetch_add(1);
  });
  obx::Configuration configuration("bench", "bench", obx::Consent::analytics, false, true, false, false, false);
  configuration.endpoint = obx::Endpoint::custom("not a url", "");
  obx::OBX::initialize(configuration);
  static auto window = std::make_shared<obx::platform::Window>();
  window->setRootViewController(std::make_shared<BenchScreen>());
  window->makeKeyAndVisible();
  obx::platform::RealScheduler::shared()->runMainLoop([] { return false; }, 1.0);
}

void BM_FacadeFourThreads(benchmark::State& state) {
  startHost();
  constexpr int kThreads = 4;
  const int perThread = static_cast<int>(state.range(0));
  for (auto _ : state) {
    long before = savedEvents.load();
    std::atomic<long long> longestNanos{0};
    auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < perThread; ++i) {
          auto callStart = std::chrono::steady_clock::now();
          if (i % 2 == 0) {
            obx::OBX::sendGoal("goal-" + std::to_string(t), 1.0f);
          } else {
            obx::OBX::sendDimension("dimension-" + std::to_string(t), static_cast<double>(i));
          }
          long long took = std::chrono::duration_cast<std::chrono::nanoseconds>(
                               std::chrono::steady_clock::now() - callStart).count();
          long long seen = longestNanos.load();
          while (took > seen && !longestNanos.compare_exchange_weak(seen, took)) {
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
    const long expected = before + static_cast<long>(kThreads) * perThread;
    obx::platform::RealScheduler::shared()->runMainLoop([&] { return savedEvents.load() >= expected; }, 120.0);
    obx::Core::shared()->readWriteQueue()->sync([] {});
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.SetIterationTime(seconds);
    state.counters["events_per_second"] = static_cast<double>(savedEvents.load() - before) / seconds;
    state.counters["longest_call_us"] = static_cast<double>(longestNanos.load()) / 1000.0;
  }
}
BENCHMARK(BM_FacadeFourThreads)->Arg(5000)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
