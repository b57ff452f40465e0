// Store throughput: events written through DataController::saveEventNow (encode, encipher, append
// with open and close per event), and through saveEvent with the read-write queue drained.
// Reports events per second and microseconds per event.
#include <benchmark/benchmark.h>

#include <stdlib.h>

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

void setCounters(benchmark::State& state) {
  state.counters["events_per_s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["us_per_event"] = benchmark::Counter(static_cast<double>(state.iterations()) * 1e-6,
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_SaveEventNow_Performance(benchmark::State& state) {
  Store store;
  const auto payload = samplePerformance();
  for (auto _ : state) {
    auto error = store.controller->saveEventNow(obx::EventType::performance, store.scheduler->now(), payload, store.batch);
    benchmark::DoNotOptimize(error);
  }
  setCounters(state);
}
BENCHMARK(BM_SaveEventNow_Performance);

void BM_SaveEventNow_Touch(benchmark::State& state) {
  Store store;
  const auto payload = sampleTouches();
  for (auto _ : state) {
    auto error = store.controller->saveEventNow(obx::EventType::touchBegan, store.scheduler->now(), payload, store.batch);
    benchmark::DoNotOptimize(error);
  }
  setCounters(state);
}
BENCHMARK(BM_SaveEventNow_Touch);

// Queued writes, drained every 64 events as the read-write queue would between bursts.
void BM_SaveEventQueued_Touch(benchmark::State& state) {
  Store store;
  const auto payload = sampleTouches();
  std::size_t pending = 0;
  for (auto _ : state) {
    store.controller->saveEvent(obx::EventType::touchBegan, store.scheduler->now(), payload, store.batch);
    if (++pending == 64) {
      store.scheduler->runUntilIdle();
      pending = 0;
    }
  }
  store.scheduler->runUntilIdle();
  setCounters(state);
}
BENCHMARK(BM_SaveEventQueued_Touch);

}  // namespace
