// The placeholder page and the layout hook: composing one placeholder JPEG for a 390x844 screen (what
// the first request of a reason and orientation costs the main thread), reading it back from the
// on-disk cache (every later request), and one layout pass over 300 changed views without the view
// change detector, with it while its gate is shut (the cost it adds to every layout), and with its
// gate open (one notification).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/window.h"
#include "session/image_placeholder_builder.h"
#include "store/cache_controller.h"
#include "svr/svr_view_change_detector.h"

namespace {

using obx::platform::Rect;

void BM_ComposePlaceholder(benchmark::State& state) {
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto jpeg = obx::ImagePlaceholderBuilder::composePlaceholder(obx::PlaceholderReason::noVideo, {390, 844});
    bytes = jpeg ? jpeg->size() : 0;
    benchmark::DoNotOptimize(jpeg);
  }
  state.counters["jpeg_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_ComposePlaceholder)->Unit(benchmark::kMillisecond);

void BM_CachedPlaceholder(benchmark::State& state) {
  auto root = std::filesystem::temp_directory_path() / "obx-placeholder-bench";
  auto previous = obx::platform::sandboxRoot();
  obx::platform::setSandboxRoot(root);
  auto scheduler = obx::platform::ManualScheduler::make();
  obx::platform::Application::resetShared(scheduler);
  auto cache = obx::CacheController::make(obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write"));
  obx::ImagePlaceholderBuilder builder(cache, scheduler->mainQueue());
  builder.placeholderData(obx::PlaceholderReason::noVideo);
  scheduler->runUntilIdle();
  for (auto _ : state) {
    auto jpeg = builder.placeholderData(obx::PlaceholderReason::noVideo);
    benchmark::DoNotOptimize(jpeg);
  }
  obx::platform::setSandboxRoot(previous);
  std::filesystem::remove_all(root);
}
BENCHMARK(BM_CachedPlaceholder)->Unit(benchmark::kMicrosecond);

// A window of 300 views, every one of them changed before each pass.
struct LayoutScreen {
  LayoutScreen() {
    window->makeKeyAndVisible();
    for (int i = 0; i < 300; ++i) {
      auto view = std::make_shared<obx::platform::View>(Rect::make(0, i * 2, 390, 2));
      window->addSubview(view);
      views.push_back(view);
    }
    scheduler->runUntilIdle();
  }
  void pass() {
    for (auto& view : views) view->setNeedsLayout();
    window->layoutIfNeeded();
  }
  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::Application> application = obx::platform::Application::resetShared(scheduler);
  std::shared_ptr<obx::platform::Window> window = std::make_shared<obx::platform::Window>(Rect::make(0, 0, 390, 844));
  std::vector<std::shared_ptr<obx::platform::View>> views;
};

// Argument: 0 no detector, 1 detector with its gate shut, 2 detector with its gate opened before each pass.
void BM_LayoutPass300Views(benchmark::State& state) {
  LayoutScreen screen;
  auto configuration = std::make_shared<obx::SVRConfiguration>(nullptr, nullptr);
  std::shared_ptr<obx::SVRViewChangeDetector> detector;
  if (state.range(0) > 0) {
    detector = obx::SVRViewChangeDetector::make(configuration, screen.scheduler);
    detector->swizzleLayoutSublayersOfLayer();
  }
  for (auto _ : state) {
    if (state.range(0) == 2) detector->checkWhenIsOpenToNotify();
    screen.pass();
  }
  state.SetItemsProcessed(state.iterations() * 300);
  screen.scheduler->runUntilIdle();
}
BENCHMARK(BM_LayoutPass300Views)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

}  // namespace
