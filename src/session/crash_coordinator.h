// CrashCoordinator: the one process-wide meeting point of the crash handlers and the features that
// must close their screens before the process ends. Delegates are held weakly; a delegate that is
// gone is skipped. Any thread may add, remove or call.
#pragma once

#include <memory>

#include "base/multicast_delegate.h"
#include "session/crash_coordinator_delegate.h"

namespace obx {

class CrashCoordinator {
 public:
  // The process's coordinator; it outlives every feature.
  static CrashCoordinator& shared();

  template <typename Object>
  void add(const std::shared_ptr<Object>& delegate) {
    multicastDelegate_.add(delegate);
  }
  template <typename Object>
  void remove(const std::shared_ptr<Object>& delegate) {
    multicastDelegate_.remove(delegate);
  }

  // Calls `crashed` on every live delegate, on the calling thread.
  void crashed(const Crash& crash) const {
    multicastDelegate_.invoke([&](CrashCoordinatorDelegate& delegate) { delegate.crashed(crash); });
  }

  std::size_t delegateCount() const { return multicastDelegate_.liveCount(); }

 private:
  MulticastDelegate<CrashCoordinatorDelegate> multicastDelegate_;
};

}  // namespace obx
