#include "platform/dispatch/scheduler.h"

#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/real_scheduler.h"

namespace obx::platform {
namespace {
std::mutex defaultMutex;
std::shared_ptr<Scheduler>& defaultSlot() {
  static auto* slot = new std::shared_ptr<Scheduler>();
  return *slot;
}
}  // namespace

std::shared_ptr<DispatchQueue> Scheduler::mainQueue() {
  std::call_once(mainOnce_, [this] { main_ = DispatchQueue::makeMain(shared_from_this()); });
  return main_;
}

std::shared_ptr<Scheduler> defaultScheduler() {
  std::lock_guard lock(defaultMutex);
  auto& slot = defaultSlot();
  if (!slot) slot = RealScheduler::shared();
  return slot;
}

void setDefaultScheduler(std::shared_ptr<Scheduler> scheduler) {
  std::lock_guard lock(defaultMutex);
  defaultSlot() = std::move(scheduler);
}

}  // namespace obx::platform
