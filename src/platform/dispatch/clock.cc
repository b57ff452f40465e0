#include "platform/dispatch/clock.h"

#include <chrono>

namespace obx::platform {

Date SystemClock::now() const {
  auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since).count();
}

}  // namespace obx::platform
