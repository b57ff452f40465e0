#include "svr/recording/vertically_centered_text_layer.h"

namespace obx {

void VerticallyCenteredTextLayer::drawInContext(platform::BitmapContext& context) const {
  const platform::Size measured = platform::measureText(string(), textStyle());
  const double height = expectedSize ? expectedSize->height : measured.height;
  const double across = leftViewFrame.value_or(0);
  double down = (bounds().size.height - height) / 2;
  if (!invertedYAxis) down = -down;
  context.saveGState();
  context.translateCTM(across, down);
  // Drawn from the top of the moved origin, as a plain text layer draws: a rectangle of the text's
  // own height leaves no room for the drawing to centre it again.
  platform::drawText(context, string(), platform::Rect{{0, 0}, {bounds().size.width - across, measured.height}},
                     textStyle());
  context.restoreGState();
}

}  // namespace obx
