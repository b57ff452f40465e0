// BezierPath: the shapes the SDK draws, kept as plain rectangles with a corner radius (the
// platform's bezierPathWithRoundedRect:cornerRadius:). A bitmap context turns them into Cairo paths.
#pragma once

#include <vector>

#include "platform/ui/geometry.h"

namespace obx::platform {

struct RoundedRect {
  Rect rect;
  double cornerRadius = 0;
};

class BezierPath {
 public:
  static BezierPath roundedRect(Rect rect, double cornerRadius) {
    BezierPath path;
    path.shapes_.push_back({rect, cornerRadius});
    return path;
  }
  const std::vector<RoundedRect>& shapes() const { return shapes_; }

 private:
  std::vector<RoundedRect> shapes_;
};

}  // namespace obx::platform
