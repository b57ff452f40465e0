// Replay imaging on a 300-view screen of 390x844 points: the main-thread pass of the wireframe
// recorder (walk, layer copies, descriptions), the off-main render and JPEG, the bytes of one
// frame, and the cost of a tick on a still screen (the due test alone) and on a layout change that
// moved nothing (walk and hash, the drawing dropped). The screenshot recorder on the same screen:
// its main-thread part (scan, draw of the window, blocks over the masked inputs) and its JPEG and
// bytes, beside the wireframe's.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/window.h"
#include "svr/recording/screen_recording_hifi_mode.h"
#include "svr/recording/screen_recording_lofi_mode.h"

namespace {

using obx::platform::Rect;

class NullPublisher : public obx::SVRImagePublisher {
 public:
  void publishImage(std::optional<obx::ImageToParse> image) override {
    if (image) bytes += image->data.size();
  }
  std::size_t bytes = 0;
};

struct Screen {
  Screen() {
    obx::Common common;
    common.maskingAutomatic = {obx::MaskAutomatic::webViews, obx::MaskAutomatic::inputs};
    common.imageTakenWhenScreenStart = 3;
    configuration->setCommon(common);
    window->setBackgroundColor(obx::platform::Color{1, 1, 1, 1});
    window->makeKeyAndVisible();
    auto list = std::make_shared<obx::platform::ScrollView>(Rect::make(0, 0, 390, 844));
    list->setContentSize({390, 60 * 72});
    window->addSubview(list);
    // 60 rows of 5 views: the row, an avatar, a title, a detail and an input or a button.
    for (int row = 0; row < 60; ++row) {
      auto cell = std::make_shared<obx::platform::View>(Rect::make(0, row * 72, 390, 72));
      cell->setBackgroundColor(obx::platform::Color{0.97, 0.97, 0.98, 1});
      cell->addSubview(std::make_shared<obx::platform::ImageView>(
          Rect::make(12, 12, 48, 48), obx::platform::Image::make("avatar-" + std::to_string(row % 8), {48, 48})));
      cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 10, 240, 22), "Order #" + std::to_string(1000 + row)));
      cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 36, 240, 20), "Delivered on Tuesday"));
      if (row % 2 == 0) {
        auto field = std::make_shared<obx::platform::TextField>(Rect::make(300, 20, 80, 32));
        field->setText("secret");
        cell->addSubview(field);
      } else {
        cell->addSubview(std::make_shared<obx::platform::Button>(Rect::make(300, 20, 80, 32), "Track"));
      }
      list->addSubview(cell);
    }
    recorder->setConfigurationMask(common.maskingAutomatic);
    recorder->setImagePublisher(publisher);
    obx::ViewContext context{"screen", 0, "List", {390, 844}};
    recorder->setBatchContext(obx::BatchContext{"screen_20240101120000", context});
    // The host has displayed the screen: every view's layer has its contents.
    buildOnce();
  }
  void buildOnce() { benchmark::DoNotOptimize(recorder->buildWireframe(*window)); }

  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::Application> application = obx::platform::Application::resetShared(scheduler);
  std::shared_ptr<obx::SVRConfiguration> configuration = std::make_shared<obx::SVRConfiguration>(nullptr, nullptr);
  obx::BitmapCache cache;
  std::shared_ptr<obx::ScreenRecordingLOFIMode> recorder = obx::ScreenRecordingLOFIMode::make(configuration, scheduler, &cache);
  std::shared_ptr<NullPublisher> publisher = std::make_shared<NullPublisher>();
  std::shared_ptr<obx::platform::Window> window = std::make_shared<obx::platform::Window>(Rect::make(0, 0, 390, 844));
};

// Main thread: the walk with layer copies and Node tree. The hash is the record queue's.
void BM_MainThreadPass300Views(benchmark::State& state) {
  Screen screen;
  for (auto _ : state) benchmark::DoNotOptimize(screen.recorder->buildWireframe(*screen.window));
}
BENCHMARK(BM_MainThreadPass300Views)->Unit(benchmark::kMillisecond);

// Off the main thread: render of the wireframe at 390x844 and JPEG at the default quality (0.5).
void BM_RenderAndJpeg390x844(benchmark::State& state) {
  Screen screen;
  auto wireframe = screen.recorder->buildWireframe(*screen.window);
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto image = screen.recorder->render(*wireframe.root, {}, 390, 844);
    auto jpeg = obx::platform::jpegRepresentation(*image, 0.5);
    bytes = jpeg ? jpeg->size() : 0;
  }
  state.counters["bytes_per_frame"] = static_cast<double>(bytes);
}
BENCHMARK(BM_RenderAndJpeg390x844)->Unit(benchmark::kMillisecond);

// JPEG coding alone of the rendered frame, to split the figure above.
void BM_JpegOnly390x844(benchmark::State& state) {
  Screen screen;
  auto wireframe = screen.recorder->buildWireframe(*screen.window);
  auto image = screen.recorder->render(*wireframe.root, {}, 390, 844);
  for (auto _ : state) benchmark::DoNotOptimize(obx::platform::jpegRepresentation(*image, 0.5));
}
BENCHMARK(BM_JpegOnly390x844)->Unit(benchmark::kMillisecond);

// A tick on a still screen after the opening images: the due test and nothing else.
void BM_StillScreenTick(benchmark::State& state) {
  Screen screen;
  for (int i = 0; i < 4; ++i) {
    screen.recorder->setNeedNewImage(true);
    screen.recorder->recordScreen(390, 844, {});
    screen.scheduler->runUntilIdle();
  }
  for (auto _ : state) {
    screen.scheduler->advance(0.2);
    screen.recorder->recordScreen(390, 844, {});
    screen.scheduler->runUntilIdle();
  }
  state.counters["images"] = static_cast<double>(screen.recorder->imagesTaken());
}
BENCHMARK(BM_StillScreenTick)->Unit(benchmark::kMicrosecond);

// A layout change that moved nothing: the pass and the hash comparison run, no drawing.
void BM_UnchangedLayoutTick(benchmark::State& state) {
  Screen screen;
  for (int i = 0; i < 4; ++i) {
    screen.recorder->setNeedNewImage(true);
    screen.recorder->recordScreen(390, 844, {});
    screen.scheduler->runUntilIdle();
  }
  std::size_t before = screen.publisher->bytes;
  for (auto _ : state) {
    screen.recorder->setNeedNewImage(true);
    screen.recorder->recordScreen(390, 844, {});
    screen.scheduler->runUntilIdle();
  }
  state.counters["new_bytes"] = static_cast<double>(screen.publisher->bytes - before);
}
BENCHMARK(BM_UnchangedLayoutTick)->Unit(benchmark::kMillisecond);

// The screenshot recorder of the same screen, in hiFi with the inputs masked.
std::shared_ptr<obx::ScreenRecordingHIFIMode> hiFiRecorder(Screen& screen) {
  auto recorder = obx::ScreenRecordingHIFIMode::make(screen.configuration, screen.scheduler);
  recorder->setConfigurationMask(screen.configuration->common().maskingAutomatic);
  recorder->setCurrentSessionReplayMode(obx::SessionReplayMode::hiFi);
  return recorder;
}

// Main thread of a Hi-Fi frame: the scan, the window drawn at 390x844 and the 30 input blocks.
void BM_HiFiMainThreadFrame300Views(benchmark::State& state) {
  Screen screen;
  auto recorder = hiFiRecorder(screen);
  for (auto _ : state) benchmark::DoNotOptimize(recorder->captureForBenchmark(screen.window, 390, 844));
  state.counters["masked_views"] = static_cast<double>(recorder->viewsMasked().size());
}
BENCHMARK(BM_HiFiMainThreadFrame300Views)->Unit(benchmark::kMillisecond);

// Off the main thread: JPEG of the Hi-Fi frame at the default quality (0.5), and its bytes.
void BM_HiFiJpeg390x844(benchmark::State& state) {
  Screen screen;
  auto recorder = hiFiRecorder(screen);
  auto image = recorder->captureForBenchmark(screen.window, 390, 844);
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto jpeg = obx::platform::jpegRepresentation(*image, 0.5);
    bytes = jpeg ? jpeg->size() : 0;
  }
  state.counters["bytes_per_frame"] = static_cast<double>(bytes);
}
BENCHMARK(BM_HiFiJpeg390x844)->Unit(benchmark::kMillisecond);

}  // namespace
