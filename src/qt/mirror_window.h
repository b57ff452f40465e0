// MirrorWindow: the platform window that stands for one top-level widget. Its subviews mirror the
// widget's children for the wireframe; drawn as a hierarchy (the screenshot recorder), it shows the
// widget's real pixels instead, grabbed on the GUI thread at that moment. The recorder paints its
// masks over them on the same thread before the image goes anywhere. GUI thread only.
#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/ui/window.h"

namespace obx::qt {

class MirrorWindow : public platform::Window {
 public:
  MirrorWindow(QWidget* topLevel, platform::Rect frame) : platform::Window(frame), topLevel_(topLevel) {}

 protected:
  bool drawHierarchy(platform::BitmapContext& context) const override;

 private:
  QPointer<QWidget> topLevel_;
};

}  // namespace obx::qt
