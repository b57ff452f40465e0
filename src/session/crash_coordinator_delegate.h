// CrashCoordinatorDelegate: what a feature does when the process is about to end by a crash. Called
// on the crashing thread, which may hold any lock: a delegate writes what it must with writes that
// finish before they return, and switches no queue.
#pragma once

#include "store/events/payloads.h"

namespace obx {

class CrashCoordinatorDelegate {
 public:
  virtual ~CrashCoordinatorDelegate() = default;
  virtual void crashed(const Crash& crash) = 0;
};

}  // namespace obx
