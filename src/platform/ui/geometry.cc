#include "platform/ui/geometry.h"

#include <cstdio>

namespace obx::platform {

std::string formatCoordinate(double value) {
  if (value == 0) value = 0;  // no "-0"
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%g", value);
  return buffer;
}

std::string describeRect(const Rect& rect) {
  return "(" + formatCoordinate(rect.origin.x) + " " + formatCoordinate(rect.origin.y) + "; " +
         formatCoordinate(rect.size.width) + " " + formatCoordinate(rect.size.height) + ")";
}

std::string describeSize(const Size& size) {
  return "{" + formatCoordinate(size.width) + ", " + formatCoordinate(size.height) + "}";
}

}  // namespace obx::platform
