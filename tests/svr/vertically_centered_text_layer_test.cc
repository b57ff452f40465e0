#include "svr/recording/vertically_centered_text_layer.h"

#include <gtest/gtest.h>

#include <optional>

#include "platform/graphics/bitmap_context.h"

namespace obx {
namespace {

using platform::Rect;

struct Ink {
  int top = -1, bottom = -1, left = -1;
};

// Where the dark pixels of a 300 by 100 point white layer drawn with `layer` lie.
Ink inkOf(VerticallyCenteredTextLayer& layer) {
  layer.setFrame(Rect::make(0, 0, 300, 100));
  layer.setBackgroundColor(platform::Color{1, 1, 1, 1});
  layer.setString("Balance due");
  auto context = platform::BitmapContext::make({300, 100}, true, 1.0);
  layer.renderInContext(*context);
  auto image = context->makeImage();
  Ink ink;
  for (int y = 0; y < image->height(); ++y) {
    for (int x = 0; x < image->width(); ++x) {
      if (image->pixelAt(x, y).red > 100) continue;
      if (ink.top < 0) ink.top = y;
      ink.bottom = y;
      if (ink.left < 0 || x < ink.left) ink.left = x;
    }
  }
  return ink;
}

// The text sits in the middle of the height (its measured height, or the expected one), moved across
// by the view on its left; with the y axis not inverted it moves up, out of the bounds.
TEST(VerticallyCenteredTextLayerTest, TextSitsInTheMiddleOfItsHeight) {
  VerticallyCenteredTextLayer plain;
  Ink centred = inkOf(plain);
  ASSERT_GE(centred.top, 0);
  EXPECT_NEAR((centred.top + centred.bottom) / 2.0, 50, 4);
  EXPECT_LT(centred.left, 6);

  VerticallyCenteredTextLayer shifted;
  shifted.leftViewFrame = 120;
  Ink across = inkOf(shifted);
  EXPECT_GE(across.left, 120);
  EXPECT_EQ(across.top, centred.top);

  // An expected height of 80 leaves 10 points above: the text starts near the top.
  VerticallyCenteredTextLayer expected;
  expected.expectedSize = platform::Size{200, 80};
  Ink high = inkOf(expected);
  ASSERT_GE(high.top, 0);
  EXPECT_LT(high.top, centred.top - 20);

  VerticallyCenteredTextLayer upward;
  upward.invertedYAxis = false;
  EXPECT_LT(inkOf(upward).top, 0) << "moved up by as much as the centred text is down: out of sight";
}

}  // namespace
}  // namespace obx
