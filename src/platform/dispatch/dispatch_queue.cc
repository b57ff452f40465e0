#include "platform/dispatch/dispatch_queue.h"

#include <future>
#include <vector>

namespace obx::platform {
namespace {

thread_local std::vector<const DispatchQueue*> currentQueues;

class CurrentQueueScope {
 public:
  explicit CurrentQueueScope(const DispatchQueue* queue) { currentQueues.push_back(queue); }
  ~CurrentQueueScope() { currentQueues.pop_back(); }
};

// A block must not take the queue's runner down with it: the SDK swallows what escapes.
void runGuarded(const Block& block) {
  try {
    if (block) block();
  } catch (...) {
  }
}

}  // namespace

void DispatchWorkItem::perform() {
  if (!isCancelled() && block_) block_();
}

std::shared_ptr<DispatchQueue> DispatchQueue::makeSerial(std::shared_ptr<Scheduler> scheduler, std::string label) {
  return std::make_shared<DispatchQueue>(std::move(scheduler), std::move(label), Kind::serial, false);
}

std::shared_ptr<DispatchQueue> DispatchQueue::makeConcurrent(std::shared_ptr<Scheduler> scheduler,
                                                             std::string label) {
  return std::make_shared<DispatchQueue>(std::move(scheduler), std::move(label), Kind::concurrent, false);
}

std::shared_ptr<DispatchQueue> DispatchQueue::makeMain(std::shared_ptr<Scheduler> scheduler) {
  return std::make_shared<DispatchQueue>(std::move(scheduler), "com.apple.main-thread", Kind::serial, true);
}

DispatchQueue::DispatchQueue(std::shared_ptr<Scheduler> scheduler, std::string label, Kind kind, bool isMain)
    : scheduler_(std::move(scheduler)), label_(std::move(label)), kind_(kind), isMain_(isMain) {}

void DispatchQueue::async(Block block) { enqueue(std::move(block), kind_ == Kind::serial); }

void DispatchQueue::async(const std::shared_ptr<DispatchWorkItem>& item) {
  async([item] { item->perform(); });
}

void DispatchQueue::asyncBarrier(Block block) { enqueue(std::move(block), true); }

Date DispatchQueue::now() const {
  auto scheduler = scheduler_.lock();
  return scheduler ? scheduler->clock().now() : 0.0;
}

void DispatchQueue::asyncAfter(double seconds, Block block) {
  auto scheduler = scheduler_.lock();
  if (!scheduler) return;
  auto self = shared_from_this();
  scheduler->executeAfter(seconds, [self, block = std::move(block)]() mutable { self->async(std::move(block)); });
}

void DispatchQueue::asyncAfter(double seconds, const std::shared_ptr<DispatchWorkItem>& item) {
  asyncAfter(seconds, [item] { item->perform(); });
}

bool DispatchQueue::isCurrent() const {
  for (const DispatchQueue* queue : currentQueues) {
    if (queue == this) return true;
  }
  return false;
}

const DispatchQueue* DispatchQueue::current() { return currentQueues.empty() ? nullptr : currentQueues.back(); }

void DispatchQueue::sync(const Block& block) {
  if (isCurrent()) {
    runGuarded(block);
    return;
  }
  auto scheduler = scheduler_.lock();
  if (!scheduler) return;
  if (scheduler->runsInline()) {
    // One thread drives everything: run what was submitted before, in order, then the block.
    std::deque<Entry> earlier;
    {
      std::lock_guard lock(mutex_);
      earlier.swap(pending_);
      running_ += 1;
    }
    {
      CurrentQueueScope scope(this);
      for (Entry& entry : earlier) runGuarded(entry.block);
      runGuarded(block);
    }
    int launch = 0;
    {
      std::lock_guard lock(mutex_);
      running_ -= 1;
      launch = tokensToLaunchLocked();
    }
    launchTokens(launch);
    return;
  }
  std::promise<void> done;
  auto finished = done.get_future();
  enqueue(
      [&block, &done] {
        runGuarded(block);
        done.set_value();
      },
      kind_ == Kind::serial);
  finished.wait();
}

void DispatchQueue::enqueue(Block block, bool barrier) {
  int launch = 0;
  {
    std::lock_guard lock(mutex_);
    pending_.push_back(Entry{std::move(block), barrier});
    launch = tokensToLaunchLocked();
  }
  launchTokens(launch);
}

int DispatchQueue::tokensToLaunchLocked() {
  if (barrierRunning_) return 0;
  int startable = 0;
  for (const Entry& entry : pending_) {
    if (entry.barrier) {
      if (startable == 0 && running_ == 0) startable = 1;
      break;
    }
    ++startable;
  }
  int launch = startable - tokens_;
  if (launch <= 0) return 0;
  tokens_ += launch;
  return launch;
}

void DispatchQueue::launchTokens(int count) {
  if (count == 0) return;
  auto scheduler = scheduler_.lock();
  if (!scheduler) return;
  for (int i = 0; i < count; ++i) {
    auto self = shared_from_this();
    Block token = [self] { self->runToken(); };
    if (isMain_) {
      scheduler->executeOnMain(std::move(token));
    } else {
      scheduler->execute(std::move(token));
    }
  }
}

void DispatchQueue::runToken() {
  Entry entry;
  {
    std::lock_guard lock(mutex_);
    tokens_ -= 1;
    if (pending_.empty() || barrierRunning_) return;
    Entry& front = pending_.front();
    if (front.barrier && running_ > 0) return;  // a finishing block launches it
    entry = std::move(front);
    pending_.pop_front();
    running_ += 1;
    if (entry.barrier) barrierRunning_ = true;
  }
  runEntry(entry);
}

void DispatchQueue::runEntry(Entry& entry) {
  {
    CurrentQueueScope scope(this);
    runGuarded(entry.block);
  }
  entry.block = nullptr;  // release captures before the next block may start
  int launch = 0;
  {
    std::lock_guard lock(mutex_);
    running_ -= 1;
    if (entry.barrier) barrierRunning_ = false;
    launch = tokensToLaunchLocked();
  }
  launchTokens(launch);
}

}  // namespace obx::platform
