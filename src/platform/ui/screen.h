// Screen: the display the application's windows fill. `bounds` is in logical points and follows
// the interface orientation (width and height swap in landscape). Any thread may read.
#pragma once

#include <mutex>

#include "platform/ui/geometry.h"

namespace obx::platform {

class Screen {
 public:
  // A phone-sized portrait screen of 390 by 844 points at scale 3.
  Screen() = default;

  Rect bounds() const;
  void setBounds(Rect bounds);
  double scale() const;
  void setScale(double scale);

 private:
  mutable std::mutex mutex_;
  Rect bounds_ = Rect::make(0, 0, 390, 844);
  double scale_ = 3.0;
};

}  // namespace obx::platform
