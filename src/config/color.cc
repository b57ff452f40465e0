#include "obx/color.h"

#include <cctype>
#include <cstdint>
#include <cstdio>

namespace obx {

Color Color::fromHex(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  if (i < text.size() && text[i] == '#') ++i;
  std::uint64_t rgb = 0;
  for (int digits = 0; i < text.size() && digits < 16; ++i, ++digits) {
    char c = text[i];
    int value;
    if (c >= '0' && c <= '9') {
      value = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      value = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      value = c - 'A' + 10;
    } else {
      break;
    }
    rgb = (rgb << 4) | static_cast<std::uint64_t>(value);
  }
  Color color;
  color.red = static_cast<double>((rgb >> 16) & 0xFF) / 255.0;
  color.green = static_cast<double>((rgb >> 8) & 0xFF) / 255.0;
  color.blue = static_cast<double>(rgb & 0xFF) / 255.0;
  color.alpha = 1.0;
  return color;
}

std::string Color::description() const {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "UIExtendedSRGBColorSpace %g %g %g %g", red, green, blue, alpha);
  return buffer;
}

}  // namespace obx
