#include "qt/painted_view.h"

#include <QImage>
#include <QPainter>

#include "platform/graphics/layer.h"
#include "qt/own_rendering.h"
#include "qt/widget_kinds.h"

namespace obx::qt {

void PaintedView::drawRect(platform::BitmapContext& context, platform::Rect bounds) const {
  if (widget_.isNull() || widget_->width() <= 0 || widget_->height() <= 0) return;
  const qreal ratio = widget_->devicePixelRatioF();
  QImage image(widget_->size() * ratio, QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(Qt::transparent);
  {
    OwnRendering rendering;
    QPainter painter(&image);
    // The widget alone: its children are views of their own.
    widget_->render(&painter, QPoint(), QRegion(), QWidget::DrawWindowBackground);
  }
  platform::Layer picture;
  picture.setFrame(bounds);
  picture.setContents(toBitmap(image, ratio));
  picture.renderInContext(context);
}

}  // namespace obx::qt
