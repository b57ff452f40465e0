// QtAttachment: the SDK attached to a running QApplication (the object behind OBXQt). Attaching
// takes over the SDK's main queue for Qt's event loop (main_queue_driver.h), and mirrors the
// application's widgets (widget_source.h) into the platform windows that screen detection, replay,
// touches, scrolls and forms read (mirror_windows.h), with the input bridge beside them. GUI thread only;
// every refusal says why in one log line.
#pragma once

#include <memory>

#include "qt/input_bridge.h"
#include "qt/main_queue_driver.h"
#include "qt/mirror_windows.h"
#include "qt/widget_source.h"

namespace obx::qt {

class QtAttachment {
 public:
  // The one the public calls use; it lives as long as the process.
  static QtAttachment& shared();

  bool attach();
  void detach();
  bool isAttached() const { return driver_ != nullptr; }

  // For tests and the benchmark: what the attachment runs while attached, or null.
  WidgetSource* widgetSource() const { return widgets_.get(); }
  MainQueueDriver* driver() const { return driver_.get(); }

 private:
  std::unique_ptr<MirrorWindows> windows_;
  std::unique_ptr<WidgetSource> widgets_;
  std::unique_ptr<InputBridge> input_;
  std::unique_ptr<MainQueueDriver> driver_;
  std::shared_ptr<platform::RealScheduler> scheduler_;
};

}  // namespace obx::qt
