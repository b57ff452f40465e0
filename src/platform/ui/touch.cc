#include "platform/ui/touch.h"

#include "platform/ui/view.h"

namespace obx::platform {

Point Touch::locationInView(const View* view) const {
  if (view == nullptr) return locationInWindow_;
  return view->convertPointFromView(locationInWindow_, nullptr);
}

}  // namespace obx::platform
