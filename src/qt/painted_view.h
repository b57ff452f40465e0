// PaintedView: the mirror of a widget that paints itself in a way the mirror cannot read (an OpenGL
// surface, a graphics view, a custom paintEvent). It is an image view whose picture is the widget's
// own pixels, rendered when the view is next drawn after the widget repainted; so it is masked
// wherever images are. Holds the widget by QPointer: a widget gone draws nothing. GUI thread only.
#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/ui/image_view.h"

namespace obx::qt {

class PaintedView : public platform::ImageView {
 public:
  explicit PaintedView(QWidget* widget) : widget_(widget) {}
  // The widget repainted: the next drawing renders it again.
  void contentChanged() { visualStateChanged(); }

 protected:
  bool hasContents() const override { return !widget_.isNull(); }
  void drawRect(platform::BitmapContext& context, platform::Rect bounds) const override;

 private:
  QPointer<QWidget> widget_;
};

}  // namespace obx::qt
