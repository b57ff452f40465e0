#include "session/crash_coordinator.h"

namespace obx {

CrashCoordinator& CrashCoordinator::shared() {
  // Never destroyed: a crash may come while static objects are being torn down.
  static auto* coordinator = new CrashCoordinator();
  return *coordinator;
}

}  // namespace obx
