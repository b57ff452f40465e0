// A host that sends goals and dimensions in a tight loop, from one thread and from four: the time
// each facade call holds its calling thread (median, 99th percentile, longest, per kind), and the
// events per second that reach the encrypted spool. Beside them, from the same run and the same
// threads, the reference: a bare queue hop, the time to post an empty block to one shared serial
// queue of the same scheduler, which is the least a call that hands its work to another thread
// can cost.
//
// No log observer is installed: it would make every hidden line formatted on the caller's thread.
// Events are counted in the spool itself, by deciphering the blocks of every batch file.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/core.h"
#include "obx/facade.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "store/files/aes.h"
#include "store/files/security.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

class BenchScreen : public obx::platform::ViewController {};

std::filesystem::path storeRoot() {
  return obx::platform::applicationSupportDirectory() / "obx.ombrix";
}

void startHost() {
  static bool started = false;
  if (started) return;
  started = true;
  auto sandbox = std::filesystem::temp_directory_path() / "obx-bench-facade";
  std::filesystem::remove_all(sandbox);
  obx::platform::setSandboxRoot(sandbox);
  obx::Configuration configuration("bench", "bench", obx::Consent::analytics, false, true, false, false, false);
  configuration.endpoint = obx::Endpoint::custom("not a url", "");
  obx::OBX::initialize(configuration);
  static auto window = std::make_shared<obx::platform::Window>();
  window->setRootViewController(std::make_shared<BenchScreen>());
  window->makeKeyAndVisible();
  obx::platform::RealScheduler::shared()->runMainLoop([] { return false; }, 1.0);
}

// Counts the goal and dimension blocks in the spool. Each batch file is read on from where the
// last count stopped, and only whole records are taken: a file may be appended to while it is read.
class SpoolCounter {
 public:
  long count() {
    std::error_code error;
    for (const auto& folder : std::filesystem::directory_iterator(storeRoot(), error)) {
      const auto name = folder.path().filename().string();
      std::ifstream file(folder.path() / name, std::ios::binary);
      if (!file) continue;
      auto& read = readUpTo_[name];
      file.seekg(static_cast<std::streamoff>(read));
      std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      std::size_t at = 0;
      while (at + 4 <= bytes.size()) {
        std::uint32_t length = 0;
        for (int i = 3; i >= 0; --i) length = (length << 8) | static_cast<unsigned char>(bytes[at + i]);
        if (at + 4 + length > bytes.size()) break;
        auto plain = aes_->decrypt(std::string_view(bytes).substr(at + 4, length));
        if (plain && (plain->rfind(R"({"t":"goal")", 0) == 0 || plain->rfind(R"({"t":"dimension")", 0) == 0)) {
          ++count_;
        }
        at += 4 + length;
      }
      read += at;
    }
    return count_;
  }

 private:
  std::optional<obx::AES> aes_ = obx::AES::make(obx::Security::kAtRestKey, obx::Security::kAtRestIV);
  std::map<std::string, std::size_t> readUpTo_;
  long count_ = 0;
};

struct Distribution {
  double medianUs = 0;
  double p99Us = 0;
  double maxUs = 0;
};

Distribution distribution(std::vector<std::int64_t> nanos) {
  if (nanos.empty()) return {};
  std::sort(nanos.begin(), nanos.end());
  auto at = [&](double quantile) {
    return static_cast<double>(nanos[static_cast<std::size_t>(quantile * static_cast<double>(nanos.size() - 1))]) /
           1000.0;
  };
  return {at(0.5), at(0.99), static_cast<double>(nanos.back()) / 1000.0};
}

std::int64_t nanosSince(SteadyClock::time_point start) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(SteadyClock::now() - start).count();
}

// Runs `body(thread, i, samples)` `perThread` times on each of `threads` threads, started together.
template <typename Body>
void onThreads(int threads, int perThread, Body body) {
  std::atomic<int> ready{0};
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      ready.fetch_add(1);
      while (ready.load() < threads) std::this_thread::yield();
      for (int i = 0; i < perThread; ++i) body(t, i);
    });
  }
  for (auto& worker : workers) worker.join();
}

void report(benchmark::State& state, const std::string& prefix, const Distribution& d) {
  state.counters[prefix + "_med_us"] = d.medianUs;
  state.counters[prefix + "_p99_us"] = d.p99Us;
  state.counters[prefix + "_max_us"] = d.maxUs;
}

// Arg 0: threads; arg 1: calls per thread, goals and dimensions alternating.
void BM_FacadeGoalsAndDimensions(benchmark::State& state) {
  startHost();
  const int threads = static_cast<int>(state.range(0));
  const int perThread = static_cast<int>(state.range(1));
  auto scheduler = obx::platform::RealScheduler::shared();
  auto hopQueue = obx::platform::DispatchQueue::makeSerial(scheduler, "bench.queue-hop");

  // Names made before timing, so the figures hold only what the SDK does.
  std::vector<std::string> goalNames, dimensionNames;
  for (int t = 0; t < threads; ++t) {
    goalNames.push_back("goal-" + std::to_string(t));
    dimensionNames.push_back("dimension-" + std::to_string(t));
  }

  SpoolCounter spool;
  std::vector<std::int64_t> hops, goals, dimensions;
  double eventsPerSecond = 0;
  for (auto _ : state) {
    // The reference, on the same threads just before.
    std::vector<std::vector<std::int64_t>> hopSamples(threads);
    for (auto& samples : hopSamples) samples.reserve(perThread);
    onThreads(threads, perThread, [&](int t, int) {
      auto start = SteadyClock::now();
      hopQueue->async([] {});
      hopSamples[t].push_back(nanosSince(start));
    });
    hopQueue->sync([] {});
    for (auto& samples : hopSamples) hops.insert(hops.end(), samples.begin(), samples.end());

    const long before = spool.count();
    std::vector<std::vector<std::int64_t>> goalSamples(threads), dimensionSamples(threads);
    for (int t = 0; t < threads; ++t) {
      goalSamples[t].reserve(perThread / 2 + 1);
      dimensionSamples[t].reserve(perThread / 2 + 1);
    }
    const auto start = SteadyClock::now();
    onThreads(threads, perThread, [&](int t, int i) {
      const auto callStart = SteadyClock::now();
      if (i % 2 == 0) {
        obx::OBX::sendGoal(goalNames[t], 1.0f);
        goalSamples[t].push_back(nanosSince(callStart));
      } else {
        obx::OBX::sendDimension(dimensionNames[t], static_cast<double>(i));
        dimensionSamples[t].push_back(nanosSince(callStart));
      }
    });
    const long expected = before + static_cast<long>(threads) * perThread;
    long spooled = before;
    scheduler->runMainLoop(
        [&] {
          spooled = spool.count();
          return spooled >= expected;
        },
        120.0);
    const double seconds = std::chrono::duration<double>(SteadyClock::now() - start).count();
    state.SetIterationTime(seconds);
    eventsPerSecond = static_cast<double>(spooled - before) / seconds;
    for (auto& samples : goalSamples) goals.insert(goals.end(), samples.begin(), samples.end());
    for (auto& samples : dimensionSamples) dimensions.insert(dimensions.end(), samples.begin(), samples.end());
    if (spooled < expected) state.SkipWithError("not every event reached the spool within 120 s");
  }
  report(state, "goal", distribution(goals));
  report(state, "dim", distribution(dimensions));
  report(state, "hop", distribution(hops));
  state.counters["spooled_per_s"] = eventsPerSecond;
}
BENCHMARK(BM_FacadeGoalsAndDimensions)
    ->Args({1, 20000})
    ->Args({4, 5000})
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
