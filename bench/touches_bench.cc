// The touch capture's cost on the main thread: one "sendEvent:" of a touch event (one finger moving
// in a list of a window), first with the toolkit's own implementation alone, then with
// RUMTouchesHandle standing in for it and publishing to one observer on a serial queue, as RUMCore
// subscribes. The hooked figure minus the plain one is what the capture adds per event. Two hooked
// cases: moves 16 ms apart, which the 200 ms rule drops (an empty list is still published), and
// moves 250 ms apart, each one turned into a record with the list's offset and identifiers.
// Reports nanoseconds per event: CPU time of the calling thread, beside wall time, which on a busy
// machine also holds the waits for the SDK's own worker threads.
#include <benchmark/benchmark.h>

#include <memory>

#include "platform/dispatch/real_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/touch_synthesizer.h"
#include "platform/ui/window.h"
#include "rum/rum_touches_handle.h"

namespace {

struct Screen {
  Screen() {
    window = std::make_shared<obx::platform::Window>();
    window->makeKeyAndVisible();
    list = std::make_shared<obx::platform::ScrollView>(obx::platform::Rect::make(0, 0, 390, 800));
    list->setContentSize({390, 4000});
    list->setContentOffset({0, 120});
    window->addSubview(list);
    row = std::make_shared<obx::platform::View>(obx::platform::Rect::make(0, 200, 390, 44));
    list->addSubview(row);
    obx::platform::TouchSynthesizer synthesizer(obx::platform::Application::shared(), nullptr);
    touch = synthesizer.touchAt({100, 150});
    touch->setPhase(obx::platform::TouchPhase::moved);
    event = std::make_shared<obx::platform::Event>(obx::platform::EventKind::touches, 0.0);
    event->setAllTouches({touch});
  }
  std::shared_ptr<obx::platform::Window> window;
  std::shared_ptr<obx::platform::ScrollView> list;
  std::shared_ptr<obx::platform::View> row;
  std::shared_ptr<obx::platform::Touch> touch;
  std::shared_ptr<obx::platform::Event> event;
};

void run(benchmark::State& state, bool hooked, double secondsBetweenMoves) {
  auto scheduler = obx::platform::RealScheduler::shared();
  auto application = obx::platform::Application::resetShared(scheduler);
  Screen screen;
  std::unique_ptr<obx::RUMTouchesHandle> handle;
  std::shared_ptr<obx::TouchesObserverValue> observer;
  if (hooked) {
    handle = std::make_unique<obx::RUMTouchesHandle>(std::make_shared<obx::RUMTouchesHandle::TouchesNotifier>(
        scheduler, std::vector<obx::RUMTouchWrapper>(), "Array<Wrapper>"));
    observer = obx::TouchesObserverValue::make(obx::platform::DispatchQueue::makeSerial(scheduler, "bench.rum"),
                                               [](const auto& touches, const auto&) { benchmark::DoNotOptimize(touches); });
    handle->add(observer);
    handle->start();
  }
  double timestamp = 1000.0;
  for (auto _ : state) {
    timestamp += secondsBetweenMoves;
    screen.touch->setTimestamp(timestamp);
    application->sendEvent(*screen.event);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_SendEventPlain(benchmark::State& state) { run(state, false, 0.016); }
BENCHMARK(BM_SendEventPlain);

void BM_SendEventHookedMoveThinned(benchmark::State& state) { run(state, true, 0.016); }
BENCHMARK(BM_SendEventHookedMoveThinned);

void BM_SendEventHookedMoveRecorded(benchmark::State& state) { run(state, true, 0.25); }
BENCHMARK(BM_SendEventHookedMoveRecorded);

}  // namespace
