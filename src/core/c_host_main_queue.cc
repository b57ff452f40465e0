#include "core/c_host_main_queue.h"

#include "base/logger.h"
#include "platform/dispatch/real_scheduler.h"

namespace obx {

CHostMainQueue& CHostMainQueue::shared() {
  // Never destroyed: a host may still drain while the process exits.
  static auto* instance = new CHostMainQueue();
  return *instance;
}

void CHostMainQueue::adopt(Mode mode, const std::shared_ptr<platform::Scheduler>& scheduler) {
  {
    std::lock_guard lock(mutex_);
    if (adopted_) return;
    adopted_ = true;
    mode_ = mode;
    scheduler_ = scheduler;
  }
  if (mode == Mode::hostDrains) {
    Logger::log("OmbrixOBX main queue served by the host's loop", LogLevel::developer);
    return;
  }
  if (auto real = std::dynamic_pointer_cast<platform::RealScheduler>(scheduler)) real->serveMainOnOwnThread();
  Logger::log("OmbrixOBX main queue served by the SDK's own thread", LogLevel::developer);
}

std::size_t CHostMainQueue::drain() {
  std::shared_ptr<platform::Scheduler> scheduler;
  {
    std::lock_guard lock(mutex_);
    if (!adopted_ || mode_ != Mode::hostDrains) return 0;
    scheduler = scheduler_;
  }
  auto real = std::dynamic_pointer_cast<platform::RealScheduler>(scheduler);
  return real ? real->drainMain() : 0;
}

}  // namespace obx
