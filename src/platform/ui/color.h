// Color: the toolkit's colour, red, green, blue and alpha in 0...1. The SDK has its own colour type
// for what hosts configure and converts where it hands one to a view.
#pragma once

namespace obx::platform {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  bool operator==(const Color&) const = default;
};

}  // namespace obx::platform
