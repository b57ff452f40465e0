#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/graphics/bitmap_context.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/image_context.h"
#include "platform/graphics/layer.h"
#include "platform/graphics/text_layer.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/text_field.h"

namespace obx::platform {
namespace {

bool near(const Pixel& pixel, int red, int green, int blue, int tolerance = 3) {
  return std::abs(pixel.red - red) <= tolerance && std::abs(pixel.green - green) <= tolerance &&
         std::abs(pixel.blue - blue) <= tolerance;
}

std::string text(const Pixel& p) {
  return std::to_string(p.red) + "," + std::to_string(p.green) + "," + std::to_string(p.blue) + "," +
         std::to_string(p.alpha);
}

// Counts pixels in a rectangle that are far from the background colour.
int inkIn(const Bitmap& bitmap, Rect rect, Pixel background) {
  int ink = 0;
  for (int y = static_cast<int>(rect.minY()); y < static_cast<int>(rect.maxY()); ++y) {
    for (int x = static_cast<int>(rect.minX()); x < static_cast<int>(rect.maxX()); ++x) {
      Pixel pixel = bitmap.pixelAt(x, y);
      if (!near(pixel, background.red, background.green, background.blue, 40) ||
          std::abs(pixel.alpha - background.alpha) > 40) {
        ++ink;
      }
    }
  }
  return ink;
}

// A layer tree renders backgrounds, offsets, opacity, clipping and borders where they belong.
TEST(GraphicsTest, LayerTreeRendersToPixels) {
  auto context = BitmapContext::make({100, 60}, true, 1.0);
  ASSERT_NE(context, nullptr);
  auto root = std::make_shared<Layer>();
  root->setFrame(Rect::make(0, 0, 100, 60));
  root->setBackgroundColor(Color{1, 1, 1, 1});
  auto red = std::make_shared<Layer>();
  red->setFrame(Rect::make(10, 10, 30, 20));
  red->setBackgroundColor(Color{1, 0, 0, 1});
  auto child = std::make_shared<Layer>();  // sits in red's coordinates, clipped by red
  child->setFrame(Rect::make(20, 10, 30, 30));
  child->setBackgroundColor(Color{0, 0, 1, 1});
  red->attributes().masksToBounds = true;
  red->addSublayer(child);
  auto faded = std::make_shared<Layer>();
  faded->setFrame(Rect::make(60, 10, 30, 30));
  faded->setBackgroundColor(Color{0, 0, 0, 1});
  faded->setOpacity(0.5);
  faded->attributes().borderColor = Color{0, 1, 0, 1};
  faded->attributes().borderWidth = 2;
  auto hidden = std::make_shared<Layer>();
  hidden->setFrame(Rect::make(0, 45, 100, 15));
  hidden->setBackgroundColor(Color{1, 0, 1, 1});
  hidden->setHidden(true);
  root->addSublayer(red);
  root->addSublayer(faded);
  root->addSublayer(hidden);
  root->renderInContext(*context);
  auto image = context->makeImage();

  struct Case {
    int x, y;
    int red, green, blue;
  } cases[] = {
      {5, 5, 255, 255, 255},    // root background
      {15, 15, 255, 0, 0},      // red layer
      {35, 25, 0, 0, 255},      // child over red
      {45, 35, 255, 255, 255},  // child clipped outside red
      {75, 25, 128, 128, 128},  // black at half opacity over white
      {60, 25, 128, 255, 128},  // green border at half opacity
      {50, 52, 255, 255, 255},  // hidden layer leaves nothing
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(near(image->pixelAt(c.x, c.y), c.red, c.green, c.blue, 4))
        << c.x << "," << c.y << " is " << text(image->pixelAt(c.x, c.y));
  }
}

// Rounded rectangles are filled and stroked, corners stay outside, and clearRect empties a region.
TEST(GraphicsTest, RoundedRectFillStrokeAndClear) {
  auto context = BitmapContext::make({40, 40}, false, 2.0);
  ASSERT_NE(context, nullptr);
  context->setFillColor(Color{0.5, 0.5, 0.5, 1});
  context->setStrokeColor(Color{1, 1, 1, 1});
  context->setLineWidth(1.0);
  context->addPath(BezierPath::roundedRect(Rect::make(5, 5, 30, 30), 10));
  context->drawPath(PathDrawingMode::fillStroke);
  auto drawn = context->makeImage();
  EXPECT_EQ(drawn->width(), 80);
  EXPECT_TRUE(near(drawn->pixelAt(40, 40), 128, 128, 128));
  EXPECT_EQ(drawn->pixelAt(11, 11).alpha, 0) << "corner outside the radius";
  EXPECT_TRUE(near(drawn->pixelAt(40, 10), 255, 255, 255, 10)) << text(drawn->pixelAt(40, 10));
  context->clearRect(Rect::make(0, 0, 40, 20));
  auto cleared = context->makeImage();
  EXPECT_EQ(cleared->pixelAt(40, 30).alpha, 0);
  EXPECT_TRUE(near(cleared->pixelAt(40, 60), 128, 128, 128));
}

// A JPEG keeps the picture within the coder's loss, quality changes its size, PNG round trips exactly.
TEST(GraphicsTest, JpegAndPngCoding) {
  auto context = BitmapContext::make({64, 32}, true, 1.0);
  context->fillRect(Rect::make(0, 0, 32, 32), Color{1, 0, 0, 1});
  context->fillRect(Rect::make(32, 0, 32, 32), Color{0, 0, 1, 1});
  auto image = context->makeImage();
  auto low = jpegRepresentation(*image, 0.1);
  auto high = jpegRepresentation(*image, 0.9);
  ASSERT_TRUE(low && high);
  EXPECT_EQ((*high)[0], 0xFF);
  EXPECT_EQ((*high)[1], 0xD8);
  EXPECT_LT(low->size(), high->size());
  auto decoded = decodeJPEG(std::string_view(reinterpret_cast<const char*>(high->data()), high->size()));
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->width(), 64);
  EXPECT_TRUE(near(decoded->pixelAt(8, 16), 255, 0, 0, 12)) << text(decoded->pixelAt(8, 16));
  EXPECT_TRUE(near(decoded->pixelAt(56, 16), 0, 0, 255, 12)) << text(decoded->pixelAt(56, 16));
  EXPECT_EQ(decodeJPEG("not a jpeg"), nullptr);
  EXPECT_EQ(decodePNG("not a png"), nullptr);
  auto png = pngRepresentation(*image);
  ASSERT_TRUE(png);
  auto back = decodePNG(std::string_view(reinterpret_cast<const char*>(png->data()), png->size()));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->pixels(), image->pixels());
}

// A label draws its text into its layer as a backing store; a text layer draws its string; both put
// ink inside their frame only; no context means no drawing.
TEST(GraphicsTest, ViewsDrawIntoTheirLayer) {
  auto label = std::make_shared<Label>(Rect::make(0, 0, 120, 30), "Hello");
  auto layer = label->layer();
  ASSERT_NE(layer->contents(), nullptr);
  EXPECT_NE(layer->contents()->debugDescription().find("BackingStore"), std::string::npos);
  EXPECT_GT(inkIn(*layer->contents(), Rect::make(0, 0, 120, 30), Pixel{}), 20);
  label->setText("");
  EXPECT_EQ(label->layer()->contents(), nullptr) << "an empty label has no contents";

  auto field = std::make_shared<TextField>(Rect::make(0, 0, 200, 30));
  field->setText("secret");
  auto plain = field->layer()->contents();
  field->setSecureTextEntry(true);
  auto bullets = field->layer()->contents();
  ASSERT_TRUE(plain && bullets);
  EXPECT_NE(plain->pixels(), bullets->pixels());

  auto root = std::make_shared<TextLayer>();
  root->setFrame(Rect::make(0, 0, 100, 40));
  root->setBackgroundColor(Color{1, 1, 1, 1});
  root->setString("Text");
  auto context = BitmapContext::make({100, 40}, true, 1.0);
  root->renderInContext(*context);
  EXPECT_GT(inkIn(*context->makeImage(), Rect::make(0, 0, 100, 40), Pixel{255, 255, 255, 255}), 20);

  endImageContext();
  EXPECT_FALSE(label->drawViewHierarchyInRect(label->frame(), false));
}

// drawViewHierarchyInRect draws a view's subviews at their place and leaves hidden ones out.
TEST(GraphicsTest, DrawViewHierarchy) {
  auto container = std::make_shared<View>(Rect::make(0, 0, 80, 40));
  container->setBackgroundColor(Color{1, 1, 1, 1});
  auto green = std::make_shared<View>(Rect::make(10, 10, 20, 20));
  green->setBackgroundColor(Color{0, 1, 0, 1});
  auto hidden = std::make_shared<View>(Rect::make(50, 10, 20, 20));
  hidden->setBackgroundColor(Color{1, 0, 0, 1});
  hidden->setHidden(true);
  container->addSubview(green);
  container->addSubview(hidden);
  beginImageContextWithOptions({80, 40}, true, 1.0);
  ASSERT_TRUE(container->drawViewHierarchyInRect(container->frame(), false));
  auto image = imageFromCurrentImageContext();
  endImageContext();
  EXPECT_EQ(currentContext(), nullptr);
  EXPECT_TRUE(near(image->pixelAt(20, 20), 0, 255, 0));
  EXPECT_TRUE(near(image->pixelAt(60, 20), 255, 255, 255));
  EXPECT_TRUE(near(image->pixelAt(5, 5), 255, 255, 255));
}

// Sizes that can't give a bitmap give no context.
TEST(GraphicsTest, InvalidSizesGiveNoContext) {
  struct Case {
    Size size;
    double scale;
  } cases[] = {{{0, 10}, 1}, {{10, 0}, 1}, {{-5, 10}, 1}, {{10, 10}, 0}, {{20000, 10}, 1}, {{1.0 / 0.0, 10}, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(BitmapContext::make(c.size, true, c.scale), nullptr) << c.size.width << "x" << c.size.height;
    EXPECT_FALSE(BitmapContext::canMake(c.size, c.scale));
  }
  EXPECT_NE(BitmapContext::make({0.5, 0.5}, true, 1), nullptr);
}

}  // namespace
}  // namespace obx::platform
