// Costs on the producer's thread: a Notifier publication with ten observers (it only enqueues), and
// a log call whose level hides the line, beside its reference: the bare level check that decides it.
#include <benchmark/benchmark.h>

#include "base/logger.h"
#include "base/notifier.h"
#include "platform/dispatch/real_scheduler.h"

namespace {

void BM_NotifierNotifyTenObservers(benchmark::State& state) {
  auto scheduler = obx::platform::RealScheduler::shared();
  obx::Notifier<int> notifier(scheduler, 0, "Int");
  std::vector<std::shared_ptr<obx::ObserverValue<int>>> observers;
  for (int i = 0; i < 10; ++i) {
    auto queue = obx::platform::DispatchQueue::makeSerial(scheduler, "bench.observer." + std::to_string(i));
    observers.push_back(obx::ObserverValue<int>::make(queue, [](const int&, const int&) {}));
    notifier.observe(observers.back());
  }
  int value = 0;
  for (auto _ : state) notifier.notify(++value);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NotifierNotifyTenObservers);

void BM_LoggerHiddenLine(benchmark::State& state) {
  obx::Logger::setLevel(obx::LogLevel::public_);
  obx::Logger::setAllowLogs(false);
  for (auto _ : state) obx::Logger::log("Save event 7 in screenID: 0000_20260101000000", obx::LogLevel::developer);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LoggerHiddenLine);

// Reference for the line above: what a caller would pay to test the level itself.
void BM_LoggerLevelCheckReference(benchmark::State& state) {
  obx::Logger::setLevel(obx::LogLevel::public_);
  for (auto _ : state) {
    bool shown = static_cast<int>(obx::Logger::level()) >= static_cast<int>(obx::LogLevel::developer);
    benchmark::DoNotOptimize(shown);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LoggerLevelCheckReference);

}  // namespace
