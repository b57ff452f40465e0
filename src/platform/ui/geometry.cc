#include "platform/ui/geometry.h"

#include <charconv>

namespace obx::platform {

void appendCoordinate(std::string& text, double value) {
  if (value == 0) value = 0;  // no "-0"
  // General format at precision 6 is printf's "%g", without printf's cost: descriptions of every
  // view are formatted at each frame.
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
  text.append(buffer, result.ptr);
}

std::string formatCoordinate(double value) {
  std::string text;
  appendCoordinate(text, value);
  return text;
}

void appendRect(std::string& text, const Rect& rect) {
  text += '(';
  appendCoordinate(text, rect.origin.x);
  text += ' ';
  appendCoordinate(text, rect.origin.y);
  text += "; ";
  appendCoordinate(text, rect.size.width);
  text += ' ';
  appendCoordinate(text, rect.size.height);
  text += ')';
}

std::string describeRect(const Rect& rect) {
  std::string text;
  appendRect(text, rect);
  return text;
}

std::string describeSize(const Size& size) {
  std::string text = "{";
  appendCoordinate(text, size.width);
  text += ", ";
  appendCoordinate(text, size.height);
  text += '}';
  return text;
}

}  // namespace obx::platform
