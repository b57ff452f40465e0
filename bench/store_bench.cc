// Store throughput: events written through DataController::saveEventNow (encode, encipher, append
// with open and close per event), and through saveEvent with the read-write queue drained.
// Reports microseconds per event and events per second. Beside each, from the same loop, the
// reference: a bare open, write and close (O_APPEND) of a record of the same length in the same
// folder, and the ratio of the two, in wall time and in the thread's CPU time (system calls
// included). The two alternate in blocks of 64, so both see the same load.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"

namespace {

struct Store {
  Store() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obx-store-bench-XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    obx::platform::setSandboxRoot(root);
    queue = obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
    configuration = std::make_shared<obx::SDKConfiguration>(
        obx::Configuration("account", "property", obx::Consent::analyticsAndRecording, false, true, false, false, false),
        obx::Platform{}, scheduler);
    repository = std::make_shared<obx::Repository>(
        configuration, obx::FileStorage::make(queue, std::make_shared<obx::Security>()), nullptr, 8192.0, scheduler);
    controller = std::make_unique<obx::DataController>(repository);
    batch.id = "5E5A7C1D-0B7B-4C1E-9E0C-3B1F0F8E6A11_20260101000000";
    batch.viewContext.dateScreen = scheduler->now() - 1.0;
  }
  ~Store() {
    controller.reset();
    std::error_code error;
    std::filesystem::remove_all(root, error);
  }

  std::filesystem::path root;
  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::DispatchQueue> queue;
  std::shared_ptr<obx::SDKConfiguration> configuration;
  std::shared_ptr<obx::Repository> repository;
  std::unique_ptr<obx::DataController> controller;
  obx::BatchContext batch;
};

obx::Performance samplePerformance() { return obx::Performance{12.5, 312.25, 0.8, 8, 7812.5, std::string("cpu")}; }

std::vector<obx::Touch> sampleTouches() { return {obx::Touch{120, 640, 0, 310, std::nullopt, 3, std::nullopt}}; }

using SteadyClock = std::chrono::steady_clock;

double secondsSince(SteadyClock::time_point start) {
  return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

// The reference: what the file system alone asks for one record of `length` bytes.
class BareAppend {
 public:
  BareAppend(const std::filesystem::path& file, std::size_t length) : path_(file.string()), bytes_(length, 'x') {}
  void run() {
    int fd = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return;
    ssize_t written = ::write(fd, bytes_.data(), bytes_.size());
    benchmark::DoNotOptimize(written);
    ::close(fd);
  }

 private:
  std::string path_;
  std::string bytes_;
};

// CPU time of the calling thread, system calls included: unlike wall time it doesn't count the
// time the thread waited for a core, which on a shared machine dwarfs a few microseconds.
double threadCPUSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Totals {
  double eventWall = 0, eventCPU = 0, bareWall = 0, bareCPU = 0;
};

void setCounters(benchmark::State& state, const Totals& totals) {
  const double n = static_cast<double>(state.iterations());
  state.counters["us_per_event"] = totals.eventWall / n * 1e6;
  state.counters["events_per_s"] = n / totals.eventWall;
  state.counters["bare_write_us"] = totals.bareWall / n * 1e6;
  state.counters["ratio_to_bare"] = totals.eventWall / totals.bareWall;
  state.counters["cpu_us_per_event"] = totals.eventCPU / n * 1e6;
  state.counters["bare_cpu_us"] = totals.bareCPU / n * 1e6;
  state.counters["cpu_ratio_to_bare"] = totals.eventCPU / totals.bareCPU;
}

// Runs `bare` as many times as events were saved since the last call, timed by wall and by CPU.
constexpr std::size_t kBlock = 64;
void bareBlock(BareAppend& bare, std::size_t count, Totals& totals) {
  const double cpu = threadCPUSeconds();
  const auto start = SteadyClock::now();
  for (std::size_t i = 0; i < count; ++i) bare.run();
  totals.bareWall += secondsSince(start);
  totals.bareCPU += threadCPUSeconds() - cpu;
}

// saveEventNow, and after each block of 64 events as many bare writes of as many bytes as the
// event's record took. Events are timed one by one (wall) and by block (CPU).
template <typename Payload>
void saveNowBesideBareWrite(benchmark::State& state, obx::EventType type, const Payload& payload) {
  Store store;
  const auto folder = store.root / "Library" / "Application Support" / "obx.ombrix" / store.batch.id;
  store.controller->saveEventNow(type, store.scheduler->now(), payload, store.batch);
  BareAppend bare(folder / "bare", std::filesystem::file_size(folder / store.batch.id));
  Totals totals;
  std::size_t inBlock = 0;
  double blockCPU = threadCPUSeconds();
  for (auto _ : state) {
    const auto start = SteadyClock::now();
    auto error = store.controller->saveEventNow(type, store.scheduler->now(), payload, store.batch);
    const double event = secondsSince(start);
    benchmark::DoNotOptimize(error);
    totals.eventWall += event;
    state.SetIterationTime(event);
    if (++inBlock == kBlock) {
      totals.eventCPU += threadCPUSeconds() - blockCPU;
      bareBlock(bare, inBlock, totals);
      inBlock = 0;
      blockCPU = threadCPUSeconds();
    }
  }
  totals.eventCPU += threadCPUSeconds() - blockCPU;
  bareBlock(bare, inBlock, totals);
  setCounters(state, totals);
}

void BM_SaveEventNow_Performance(benchmark::State& state) {
  saveNowBesideBareWrite(state, obx::EventType::performance, samplePerformance());
}
BENCHMARK(BM_SaveEventNow_Performance)->UseManualTime();

void BM_SaveEventNow_Touch(benchmark::State& state) {
  saveNowBesideBareWrite(state, obx::EventType::touchBegan, sampleTouches());
}
BENCHMARK(BM_SaveEventNow_Touch)->UseManualTime();

// Queued writes, drained every 64 events as the read-write queue would between bursts; the
// reference is 64 bare writes of the same length after each burst.
void BM_SaveEventQueued_Touch(benchmark::State& state) {
  Store store;
  const auto payload = sampleTouches();
  const auto folder = store.root / "Library" / "Application Support" / "obx.ombrix" / store.batch.id;
  store.controller->saveEventNow(obx::EventType::touchBegan, store.scheduler->now(), payload, store.batch);
  BareAppend bare(folder / "bare", std::filesystem::file_size(folder / store.batch.id));
  Totals totals;
  std::size_t pending = 0;
  auto burst = SteadyClock::now();
  double burstCPU = threadCPUSeconds();
  for (auto _ : state) {
    store.controller->saveEvent(obx::EventType::touchBegan, store.scheduler->now(), payload, store.batch);
    if (++pending == kBlock) {
      store.scheduler->runUntilIdle();
      totals.eventWall += secondsSince(burst);
      totals.eventCPU += threadCPUSeconds() - burstCPU;
      bareBlock(bare, pending, totals);
      pending = 0;
      burst = SteadyClock::now();
      burstCPU = threadCPUSeconds();
    }
  }
  store.scheduler->runUntilIdle();
  totals.eventWall += secondsSince(burst);
  totals.eventCPU += threadCPUSeconds() - burstCPU;
  bareBlock(bare, pending, totals);
  setCounters(state, totals);
}
BENCHMARK(BM_SaveEventQueued_Touch);

}  // namespace
