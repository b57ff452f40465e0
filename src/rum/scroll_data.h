// ScrollData: a scroll position of a screen's main scroll view and the moment it was taken:
// `height` is the view's frame height and `offsetY` its vertical content offset, both truncated;
// `time` is seconds since 1970.
#pragma once

#include <cstdint>

namespace obx {

struct ScrollData {
  std::int64_t height = 0;
  std::int64_t offsetY = 0;
  double time = 0;
};

}  // namespace obx
