#include "session/placeholder_page.h"

#include <algorithm>
#include <string_view>

#include "platform/crypto/base64.h"
#include "platform/graphics/bitmap_context.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/layer.h"
#include "platform/graphics/text_layer.h"
#include "session/placeholder_assets.h"

namespace obx {

namespace {

constexpr double kStackSpacing = 8.0;
constexpr double kStackMargin = 20.0;
constexpr double kEmblemAspect = 0.711;
constexpr double kReferenceScreenWidth = 393.0;
constexpr double kReferenceFontSize = 16.0;

platform::TextStyle labelStyle(double fontSize) {
  platform::TextStyle style;
  style.fontSize = fontSize;
  style.color = platform::Color{0, 0, 0, 1};
  style.numberOfLines = 0;
  return style;
}

// Decoded once: the picture does not change while the process runs.
std::shared_ptr<const platform::Bitmap> emblem() {
  static const std::shared_ptr<const platform::Bitmap> bitmap = [] {
    auto bytes = platform::base64Decode(kPlaceholderEmblemBase64);
    return bytes ? platform::decodePNG(*bytes) : nullptr;
  }();
  return bitmap;
}

// Aspect fit: the largest rectangle of the picture's proportions inside `frame`, centred.
platform::Rect aspectFit(platform::Size picture, platform::Rect frame) {
  if (picture.width <= 0 || picture.height <= 0) return frame;
  double scale = std::min(frame.size.width / picture.width, frame.size.height / picture.height);
  double width = picture.width * scale;
  double height = picture.height * scale;
  return platform::Rect::make(frame.origin.x + (frame.size.width - width) / 2,
                              frame.origin.y + (frame.size.height - height) / 2, width, height);
}

}  // namespace

PlaceholderPage::Layout PlaceholderPage::layout(const std::string& text, platform::Size pageSize, double screenWidth) {
  Layout result;
  result.fontSize = screenWidth / kReferenceScreenWidth * kReferenceFontSize;
  double available = std::max(0.0, pageSize.width - 2 * kStackMargin);

  double emblemWidth = std::min({pageSize.width * 0.5, pageSize.height * 0.5 / kEmblemAspect, available});
  double emblemHeight = emblemWidth * kEmblemAspect;

  platform::TextStyle style = labelStyle(result.fontSize);
  double labelWidth = std::min(platform::measureText(text, style).width, available);
  double labelHeight = platform::measureWrappedText(text, style, labelWidth).height;

  double stackHeight = emblemHeight + kStackSpacing + labelHeight;
  double top = (pageSize.height - stackHeight) / 2;
  result.emblem = platform::Rect::make((pageSize.width - emblemWidth) / 2, top, emblemWidth, emblemHeight);
  result.label = platform::Rect::make((pageSize.width - labelWidth) / 2, top + emblemHeight + kStackSpacing, labelWidth,
                                      labelHeight);
  return result;
}

std::shared_ptr<const platform::Bitmap> PlaceholderPage::render(const std::string& text, platform::Size pageSize,
                                                                double screenWidth, double scale) {
  auto context = platform::BitmapContext::make(pageSize, /*opaque=*/true, scale);
  if (!context) return nullptr;
  Layout placed = layout(text, pageSize, screenWidth);

  auto page = std::make_shared<platform::Layer>();
  page->setFrame(platform::Rect{{0, 0}, pageSize});
  page->setBackgroundColor(platform::Color{1, 1, 1, 1});

  // A picture that does not decode leaves the image view empty; the page still tells the reason.
  if (auto picture = emblem()) {
    auto image = std::make_shared<platform::Layer>();
    image->setFrame(aspectFit(picture->size(), placed.emblem));
    image->setContents(picture);
    page->addSublayer(image);
  }

  auto label = std::make_shared<platform::TextLayer>();
  label->setFrame(placed.label);
  label->setString(text);
  label->textStyle() = labelStyle(placed.fontSize);
  page->addSublayer(label);

  // A page of a fractional pixel size leaves a last column the page only half covers; it is white too, not
  // the black of a fresh opaque context.
  context->fillRect(platform::Rect::make(0, 0, pageSize.width + 1, pageSize.height + 1), platform::Color{1, 1, 1, 1});
  page->renderInContext(*context);
  return context->makeImage();
}

}  // namespace obx
