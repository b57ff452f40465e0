// Points, sizes and rectangles in the toolkit's logical points, with the platform's texts for them.
#pragma once

#include <string>

namespace obx::platform {

struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

struct Rect {
  Point origin;
  Size size;
  static Rect make(double x, double y, double width, double height) { return Rect{{x, y}, {width, height}}; }
  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  bool contains(Point point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
  }
  bool operator==(const Rect&) const = default;
};

// A number as the platform prints coordinates: "375", "20.5", "0.333333" (printf's "%g").
std::string formatCoordinate(double value);
// Appends `formatCoordinate(value)` to `text` without a string of its own.
void appendCoordinate(std::string& text, double value);
// "(20 100; 335 21)", the way a view's description shows its frame.
std::string describeRect(const Rect& rect);
// Appends `describeRect(rect)` to `text`.
void appendRect(std::string& text, const Rect& rect);
// "{375, 812}".
std::string describeSize(const Size& size);

}  // namespace obx::platform
