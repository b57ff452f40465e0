// PlaceholderPage: the drawing of a placeholder: a white page with, in a vertical stack centred on it, the
// emblem above the reason's text. The emblem is at most half the page wide, 0.711 as high as wide, at most
// half the page high; the text wraps at the page's width less 20 points a side, in a black font whose size
// follows the screen's width (16 points at 393). The stack keeps 8 points between the two. Any thread.
#pragma once

#include <memory>
#include <string>

#include "platform/graphics/bitmap.h"
#include "platform/ui/geometry.h"

namespace obx {

class PlaceholderPage {
 public:
  struct Layout {
    platform::Rect emblem;  // the image view's frame; the emblem is fitted into it
    platform::Rect label;
    double fontSize = 0;
  };

  // Where things go on a page of `pageSize` points for a screen `screenWidth` points wide.
  static Layout layout(const std::string& text, platform::Size pageSize, double screenWidth);
  // The page drawn at `scale` pixels per point; null when no bitmap of that size can be made.
  static std::shared_ptr<const platform::Bitmap> render(const std::string& text, platform::Size pageSize,
                                                        double screenWidth, double scale);
};

}  // namespace obx
