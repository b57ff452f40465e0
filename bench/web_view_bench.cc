// A changed sampling flag handed to the pages on screen: the whole path from the configuration's
// publication through the analytics queue to the main-queue walk of the key window, on a 300-view
// screen (60 rows of a cell, an image, two labels and a button or a field) holding 4 web views, with
// the manual scheduler so only the SDK's own work is timed; then on screens twice and ten times as
// large; and a publication that changes no flag, which stops before the main queue.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"
#include "rum/rum_web_view_sampling.h"

namespace {

using obx::platform::Rect;

struct Screen {
  explicit Screen(int rows) {
    window->makeKeyAndVisible();
    auto list = std::make_shared<obx::platform::ScrollView>(Rect::make(0, 0, 390, 844));
    window->addSubview(list);
    for (int row = 0; row < rows; ++row) {
      auto cell = std::make_shared<obx::platform::View>(Rect::make(0, row * 72, 390, 72));
      cell->addSubview(std::make_shared<obx::platform::ImageView>(Rect::make(12, 12, 48, 48)));
      cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 10, 240, 22), "Order"));
      cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 36, 240, 20), "Delivered"));
      if (row % 2 == 0) {
        cell->addSubview(std::make_shared<obx::platform::TextField>(Rect::make(300, 20, 80, 32)));
      } else {
        cell->addSubview(std::make_shared<obx::platform::Button>(Rect::make(300, 20, 80, 32), "Track"));
      }
      if (row % (rows / 4) == 0) cell->addSubview(std::make_shared<obx::platform::WebView>(Rect::make(0, 0, 390, 72)));
      list->addSubview(cell);
    }
  }
  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::Application> application = obx::platform::Application::resetShared(scheduler);
  std::shared_ptr<obx::platform::Window> window = std::make_shared<obx::platform::Window>();
  std::shared_ptr<obx::SDKConfiguration> configuration = std::make_shared<obx::SDKConfiguration>(
      obx::Configuration("account", "property", obx::Consent::analyticsAndRecording, false, true, false, false, false),
      obx::Platform::native(), scheduler);
};

// From setRetention to the last page's script, per change.
void BM_FlagChangeToPages(benchmark::State& state) {
  Screen screen(static_cast<int>(state.range(0)));
  auto queue = obx::platform::DispatchQueue::makeSerial(screen.scheduler, "obx.ombrix.feature.RUM");
  auto sampling = obx::RUMWebViewSampling::make(screen.configuration, queue, screen.scheduler->mainQueue());
  screen.scheduler->runUntilIdle();
  bool value = false;
  for (auto _ : state) {
    // Each pass flips the override, so every publication is a change the pages must hear.
    screen.configuration->editUserConfiguration(
        [&](obx::UserConfiguration& user) { user.userSessionCookieFlag = value; });
    screen.configuration->applyUserConfiguration();
    screen.scheduler->runUntilIdle();
    value = !value;
  }
  state.counters["views"] = static_cast<double>(state.range(0) * 5 + 2);
}
BENCHMARK(BM_FlagChangeToPages)->Arg(60)->Arg(120)->Arg(600)->Unit(benchmark::kMicrosecond);

// The same publication when the flags did not change: what every other configuration change costs.
void BM_UnrelatedChange(benchmark::State& state) {
  Screen screen(60);
  auto queue = obx::platform::DispatchQueue::makeSerial(screen.scheduler, "obx.ombrix.feature.RUM");
  auto sampling = obx::RUMWebViewSampling::make(screen.configuration, queue, screen.scheduler->mainQueue());
  screen.scheduler->runUntilIdle();
  double batchTime = 5.0;
  for (auto _ : state) {
    screen.configuration->editLiveConfiguration([&](obx::LiveConfiguration& live) { live.batchTime = batchTime; });
    screen.configuration->applyLiveConfiguration();
    screen.scheduler->runUntilIdle();
    batchTime += 1.0;
  }
}
BENCHMARK(BM_UnrelatedChange)->Unit(benchmark::kMicrosecond);

}  // namespace
