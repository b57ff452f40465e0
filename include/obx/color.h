// Color: red, green, blue and alpha in 0...1, standing for the platform's colour type.
#pragma once

#include <string>

namespace obx {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  // "808080" or "#808080"; leading hexadecimal digits are read and the rest ignored, as the
  // platform's scanner does, so a text that is no colour gives black. Alpha is 1.0.
  static Color fromHex(const std::string& text);
  // "UIExtendedSRGBColorSpace 0.501961 0.501961 0.501961 1", the platform's description.
  std::string description() const;
  bool operator==(const Color&) const = default;
};

}  // namespace obx
