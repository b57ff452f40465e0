// CHostMainQueue: who serves the SDK's main queue for a host bound through the C API. Such a host
// has no loop of ours, so by default a thread of the SDK's own serves it; a host that wants that
// work on its own UI thread says so at initialization and calls drain() from its loop. The first
// initialization decides, as it decides everything else. All of it may be called from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>

#include "platform/dispatch/scheduler.h"

namespace obx {

class CHostMainQueue {
 public:
  enum class Mode { sdkThread, hostDrains };

  // The one the C API uses; it lives as long as the process.
  static CHostMainQueue& shared();

  // Settles the mode for `scheduler` on the first call, starting the SDK's thread in sdkThread
  // mode; later calls change nothing. A scheduler that is not a real one (a test's manual
  // scheduler) is driven by its owner, so nothing is started for it.
  void adopt(Mode mode, const std::shared_ptr<platform::Scheduler>& scheduler);

  // In hostDrains mode, runs the main-queue blocks that are ready now on the calling thread and
  // returns how many ran; it never waits for the SDK. In any other state it runs nothing: 0.
  std::size_t drain();

 private:
  std::mutex mutex_;
  bool adopted_ = false;
  Mode mode_ = Mode::sdkThread;
  std::shared_ptr<platform::Scheduler> scheduler_;
};

}  // namespace obx
