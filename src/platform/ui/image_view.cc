#include "platform/ui/image_view.h"

#include <functional>

#include "platform/graphics/layer.h"

namespace obx::platform {

void ImageView::drawRect(BitmapContext& context, Rect bounds) const {
  if (!image_) return;
  if (image_->bitmap) {
    Layer picture;
    picture.setFrame(bounds);
    picture.setContents(image_->bitmap);
    picture.renderInContext(context);
    return;
  }
  std::size_t seed = std::hash<std::string>{}(image_->name);
  auto tone = [&](int shift) { return 0.25 + static_cast<double>((seed >> shift) & 0xFF) / 255.0 * 0.6; };
  context.fillRect(bounds, Color{tone(0), tone(8), tone(16), 1});
  context.fillRect(Rect::make(bounds.origin.x, bounds.origin.y + bounds.size.height * 0.6, bounds.size.width,
                              bounds.size.height * 0.4),
                   Color{tone(24), tone(32), tone(40), 1});
}

}  // namespace obx::platform
