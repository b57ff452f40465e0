// The form capture's cost on the main thread: one scan of a 300-view screen by RUMFormHandle. The
// screen is a marked form of 49 rows, each a container with a label, a text field, a button, a
// switch and a plain view, padded with plain views to 300 views, 147 of them controls. Two cases:
// the first scan of a screen, which lists every control again (names given, targets already
// connected), and a later scan, where every control is known and only the walk remains, as for the
// whole of a screen's life at one scan a second. Reports microseconds per scan, CPU time of the
// calling thread.
#include <benchmark/benchmark.h>

#include <memory>

#include "obx/view_properties.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/text_field.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "rum/rum_form_handle.h"

namespace {

using obx::platform::Rect;

struct Screen {
  Screen() {
    window = std::make_shared<obx::platform::Window>();
    window->makeKeyAndVisible();
    controller = std::make_shared<obx::platform::ViewController>();
    window->setRootViewController(controller);
    auto form = std::make_shared<obx::platform::View>(Rect::make(0, 0, 390, 3000));
    obx::setObxFormTrack(*form, true);
    controller->view()->addSubview(form);
    views = 2;  // the controller's view and the form
    for (int row = 0; row < 49; ++row) {
      auto container = std::make_shared<obx::platform::View>(Rect::make(0, row * 60, 390, 60));
      container->addSubview(std::make_shared<obx::platform::Label>(Rect::make(0, 0, 100, 20), "Field"));
      container->addSubview(std::make_shared<obx::platform::TextField>(Rect::make(0, 20, 200, 40)));
      container->addSubview(std::make_shared<obx::platform::Button>(Rect::make(200, 20, 80, 40), "OK"));
      container->addSubview(std::make_shared<obx::platform::Switch>(Rect::make(300, 20, 51, 31)));
      container->addSubview(std::make_shared<obx::platform::View>(Rect::make(0, 58, 390, 2)));
      form->addSubview(container);
      views += 6;
    }
    for (int extra = 0; views < 300; ++extra, ++views) {
      form->addSubview(std::make_shared<obx::platform::View>(Rect::make(0, 2940 + extra, 390, 1)));
    }
  }
  std::shared_ptr<obx::platform::Window> window;
  std::shared_ptr<obx::platform::ViewController> controller;
  int views = 0;
};

void BM_FormScan(benchmark::State& state) {
  const bool firstScan = state.range(0) == 1;
  auto scheduler = obx::platform::ManualScheduler::make();
  auto application = obx::platform::Application::resetShared(scheduler);
  Screen screen;
  auto handle = obx::RUMFormHandle::make(scheduler, application->notificationCenter());
  const obx::ViewContext context{"SCREEN", scheduler->now(), "Checkout", {390, 844}, false, false};
  handle->start(context);
  handle->scanElements();  // names and connects every control once
  for (auto _ : state) {
    if (firstScan) {
      state.PauseTiming();
      handle->start(context);
      state.ResumeTiming();
    }
    handle->scanElements();
  }
  state.counters["views"] = screen.views;
  state.counters["fields"] = static_cast<double>(handle->formFields().size());
  state.SetLabel(firstScan ? "first scan of a screen" : "later scan, all controls known");
}

}  // namespace

BENCHMARK(BM_FormScan)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
