// Text drawn with Pango into a bitmap context: one family set explicitly, so that what is drawn does
// not depend on the machine's font configuration beyond that family being installed.
#pragma once

#include <string>

#include "platform/graphics/bitmap_context.h"

namespace obx::platform {

inline constexpr const char* kDefaultFontFamily = "DejaVu Sans";

enum class TextAlignment { left, center, right };

struct TextStyle {
  std::string fontFamily = kDefaultFontFamily;
  double fontSize = 17.0;
  Color color{0, 0, 0, 1};
  TextAlignment alignment = TextAlignment::left;
  // 0 means as many lines as fit.
  int numberOfLines = 1;
};

// Draws `text` inside `rect`, vertically centred, wrapped at the rectangle's width, clipped to it.
void drawText(BitmapContext& context, const std::string& text, Rect rect, const TextStyle& style);
// The size the text takes on one line, in points.
Size measureText(const std::string& text, const TextStyle& style);
// The size the text takes wrapped at `width` points as drawText wraps it (numberOfLines 0): the
// widest line and the height of all lines.
Size measureWrappedText(const std::string& text, const TextStyle& style, double width);

}  // namespace obx::platform
