#include "qt/mirror_window.h"

#include <QPixmap>

#include "platform/graphics/layer.h"
#include "qt/own_rendering.h"
#include "qt/widget_kinds.h"

namespace obx::qt {

bool MirrorWindow::drawHierarchy(platform::BitmapContext& context) const {
  // A widget already gone leaves the mirror to draw what it last knew.
  if (topLevel_.isNull()) return false;
  QPixmap pixels;
  {
    OwnRendering rendering;
    pixels = topLevel_->grab();
  }
  platform::Layer picture;
  picture.setFrame(platform::Rect{{0, 0}, frame().size});
  picture.setContents(toBitmap(pixels.toImage(), pixels.devicePixelRatio()));
  picture.renderInContext(context);
  return true;
}

}  // namespace obx::qt
