#include "platform/ui/screen.h"

namespace obx::platform {

Rect Screen::bounds() const {
  std::lock_guard lock(mutex_);
  return bounds_;
}
void Screen::setBounds(Rect bounds) {
  std::lock_guard lock(mutex_);
  bounds_ = bounds;
}
double Screen::scale() const {
  std::lock_guard lock(mutex_);
  return scale_;
}
void Screen::setScale(double scale) {
  std::lock_guard lock(mutex_);
  scale_ = scale;
}

}  // namespace obx::platform
