#include "platform/dispatch/manual_scheduler.h"

#include <algorithm>

namespace obx::platform {

void ManualScheduler::execute(Block runnable) {
  std::lock_guard lock(mutex_);
  ready_.push_back(std::move(runnable));
}

void ManualScheduler::executeAfter(double seconds, Block runnable) {
  std::lock_guard lock(mutex_);
  Date due = clock_.now() + std::max(0.0, seconds);
  timers_.emplace(std::make_pair(due, sequence_++), std::move(runnable));
}

bool ManualScheduler::runOne() {
  Block next;
  {
    std::lock_guard lock(mutex_);
    if (!ready_.empty()) {
      next = std::move(ready_.front());
      ready_.pop_front();
    } else if (!timers_.empty() && timers_.begin()->first.first <= clock_.now()) {
      next = std::move(timers_.begin()->second);
      timers_.erase(timers_.begin());
    } else {
      return false;
    }
  }
  next();
  return true;
}

std::size_t ManualScheduler::runUntilIdle() {
  std::size_t count = 0;
  while (runOne()) ++count;
  return count;
}

void ManualScheduler::advance(double seconds) {
  const Date target = clock_.now() + std::max(0.0, seconds);
  runUntilIdle();
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (timers_.empty() || timers_.begin()->first.first > target) break;
      clock_.set(std::max(clock_.now(), timers_.begin()->first.first));
    }
    runUntilIdle();
  }
  clock_.set(target);
  runUntilIdle();
}

std::size_t ManualScheduler::pendingTimers() const {
  std::lock_guard lock(mutex_);
  return timers_.size();
}

}  // namespace obx::platform
