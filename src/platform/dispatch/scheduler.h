// Scheduler: where queued work actually runs. Queues (dispatch_queue.h) keep their own order and
// exclusion rules and hand the scheduler only "run this soon", "run this on the main thread" and
// "run this after a delay". Two implementations: RealScheduler (threads) and ManualScheduler
// (virtual time, one thread, driven by tests).
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "platform/dispatch/clock.h"

namespace obx::platform {

class DispatchQueue;

using Block = std::function<void()>;

class Scheduler : public std::enable_shared_from_this<Scheduler> {
 public:
  virtual ~Scheduler() = default;

  virtual const Clock& clock() const = 0;

  // Runs `runnable` soon, never on the caller's stack.
  virtual void execute(Block runnable) = 0;
  // Runs `runnable` on the thread that serves the main queue.
  virtual void executeOnMain(Block runnable) = 0;
  // Calls `runnable` once `seconds` have passed; it must only post work, not do it.
  virtual void executeAfter(double seconds, Block runnable) = 0;

  // True when every block runs on the thread that drives the scheduler, so that `sync` may run
  // a queue's pending blocks inline instead of waiting for them.
  virtual bool runsInline() const = 0;

  // The serial queue served by the main thread. Made on first use.
  std::shared_ptr<DispatchQueue> mainQueue();

 private:
  std::once_flag mainOnce_;
  std::shared_ptr<DispatchQueue> main_;
};

// The scheduler the SDK uses when none is injected: RealScheduler::shared() unless a host or a
// test sets another before the SDK is initialized.
std::shared_ptr<Scheduler> defaultScheduler();
void setDefaultScheduler(std::shared_ptr<Scheduler> scheduler);

}  // namespace obx::platform
