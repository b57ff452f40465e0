// The Qt adapter's main-thread cost per captured frame, for a window of 300 widgets: 60 rows in a
// scroll area, each a row widget with a picture, two labels and a line edit or a button.
//
// - Wireframe frame: after a label changed, the mirror's upkeep (the flush of what Qt's events marked)
//   plus the wireframe recorder's walk, all on the GUI thread.
// - Screenshot frame: the screenshot recorder's scan, the grab of the real window and the masks.
// - Static window tick: a display-link tick on a window that did not change: the mirror has nothing
//   pending and the recorder stops at its date comparison.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <chrono>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "qt/mirror_windows.h"
#include "qt/widget_source.h"
#include "svr/recording/screen_recording_hifi_mode.h"
#include "svr/recording/screen_recording_lofi_mode.h"
#include "svr/svr_configuration.h"

namespace {

class NullPublisher : public obx::SVRImagePublisher {
 public:
  void publishImage(std::optional<obx::ImageToParse> image) override {
    if (image) ++images;
  }
  int images = 0;
};

struct Shop {
  Shop() {
    obx::Common common;
    common.maskingAutomatic = {obx::MaskAutomatic::inputs};
    common.imageTakenWhenScreenStart = 3;
    configuration->setCommon(common);
    window.resize(390, 844);
    auto* list = new QScrollArea(&window);
    list->setGeometry(0, 0, 390, 844);
    auto* content = new QWidget;
    auto* rows = new QVBoxLayout(content);
    QPixmap avatar(48, 48);
    avatar.fill(QColor(120, 140, 200));
    for (int row = 0; row < 60; ++row) {
      auto* cell = new QWidget;
      auto* layout = new QHBoxLayout(cell);
      auto* picture = new QLabel;
      picture->setPixmap(avatar);
      auto* title = new QLabel(QString("Order #%1").arg(1000 + row));
      titles.push_back(title);
      layout->addWidget(picture);
      layout->addWidget(title);
      layout->addWidget(new QLabel("Delivered on Tuesday"));
      if (row % 2 == 0) {
        layout->addWidget(new QLineEdit("secret"));
      } else {
        layout->addWidget(new QPushButton("Track"));
      }
      rows->addWidget(cell);
    }
    list->setWidget(content);
    window.show();
    source.start();
    settle();
    mirror = source.windowOf(&window);
    lofi->setConfigurationMask(common.maskingAutomatic);
    lofi->setImagePublisher(publisher);
    obx::ViewContext context{"screen", 0, "Orders", {390, 844}};
    lofi->setBatchContext(obx::BatchContext{"screen_20240101120000", context});
    hifi->setConfigurationMask(common.maskingAutomatic);
    hifi->setCurrentSessionReplayMode(obx::SessionReplayMode::hiFi);
    benchmark::DoNotOptimize(lofi->buildWireframe(*mirror));
  }
  void settle() {
    for (int i = 0; i < 3; ++i) QCoreApplication::processEvents();
    scheduler->runUntilIdle();
  }

  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::Application> application = obx::platform::Application::resetShared(scheduler);
  obx::qt::MirrorWindows windows{application};
  obx::qt::WidgetSource source{windows};
  QWidget window;
  std::vector<QLabel*> titles;
  std::shared_ptr<obx::platform::Window> mirror;
  std::shared_ptr<obx::SVRConfiguration> configuration = std::make_shared<obx::SVRConfiguration>(nullptr, nullptr);
  obx::BitmapCache cache;
  std::shared_ptr<obx::ScreenRecordingLOFIMode> lofi = obx::ScreenRecordingLOFIMode::make(configuration, scheduler, &cache);
  std::shared_ptr<obx::ScreenRecordingHIFIMode> hifi = obx::ScreenRecordingHIFIMode::make(configuration, scheduler);
  std::shared_ptr<NullPublisher> publisher = std::make_shared<NullPublisher>();
};

Shop& shop() {
  static Shop* instance = new Shop();
  return *instance;
}

// Main thread of a wireframe frame after one label changed: the mirror's flush and the walk (the
// hash is taken on the record queue). Qt's own event delivery and painting are outside the
// measured time.
void BM_QtWireframeFrame300Widgets(benchmark::State& state) {
  Shop& s = shop();
  int n = 0;
  double flush = 0;
  for (auto _ : state) {
    QLabel* title = s.titles[static_cast<std::size_t>(n % 60)];
    // A label's text and width change, as a layout would make them; Qt sends the resize at once, and
    // the mirror's filter marks the label for the flush measured below.
    title->setText(QString("Order #%1").arg(n));
    title->resize(title->width() + (n % 2 == 0 ? 1 : -1), title->height());
    ++n;
    if (!s.source.hasPendingChanges()) state.SkipWithError("the change reached no widget of the mirror");
    auto start = std::chrono::steady_clock::now();
    s.source.flush();
    auto flushed = std::chrono::steady_clock::now();
    auto wireframe = s.lofi->buildWireframe(*s.mirror);
    benchmark::DoNotOptimize(wireframe);
    auto end = std::chrono::steady_clock::now();
    flush += std::chrono::duration<double>(flushed - start).count();
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    QCoreApplication::processEvents();
  }
  state.counters["mirrored_widgets"] = static_cast<double>(s.source.mirroredWidgets());
  // Of the time per frame, the mirror's own share in milliseconds; the rest is the recorder's walk.
  state.counters["flush_ms"] = benchmark::Counter(flush * 1000, benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_QtWireframeFrame300Widgets)->UseManualTime()->Unit(benchmark::kMillisecond);

// Main thread of a screenshot frame: the scan, the grab of the real window at 390x844 and the 30
// input blocks painted over it.
void BM_QtScreenshotFrame300Widgets(benchmark::State& state) {
  Shop& s = shop();
  for (auto _ : state) benchmark::DoNotOptimize(s.hifi->captureForBenchmark(s.mirror, 390, 844));
  state.counters["masked_views"] = static_cast<double>(s.hifi->viewsMasked().size());
}
BENCHMARK(BM_QtScreenshotFrame300Widgets)->Unit(benchmark::kMillisecond);

// A tick on the still window after the opening images: the driver's test for mirror work (none is
// pending) and the recorder's date comparison.
void BM_QtStaticWindowTick(benchmark::State& state) {
  Shop& s = shop();
  s.settle();
  for (int i = 0; i < 4; ++i) {
    s.lofi->setNeedNewImage(true);
    s.lofi->recordScreen(390, 844, {});
    s.scheduler->runUntilIdle();
  }
  const int before = s.publisher->images;
  for (auto _ : state) {
    s.scheduler->advance(0.2);
    if (s.source.hasPendingChanges()) s.source.flush();
    s.lofi->recordScreen(390, 844, {});
    s.scheduler->runUntilIdle();
  }
  state.counters["new_images"] = static_cast<double>(s.publisher->images - before);
}
BENCHMARK(BM_QtStaticWindowTick)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
