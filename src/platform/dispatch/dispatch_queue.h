// DispatchQueue: serial and concurrent queues in the manner of the platform's dispatch library.
// A serial queue runs one block at a time, in submission order. A concurrent queue runs plain
// blocks side by side; a barrier block waits for every block before it and holds back every block
// after it. All operations may be called from any thread. Once the queue's scheduler is gone,
// submitted work is dropped.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/dispatch/scheduler.h"

namespace obx::platform {

// A block that can be cancelled before it starts. Cancelling a running block does not stop it.
class DispatchWorkItem {
 public:
  explicit DispatchWorkItem(Block block) : block_(std::move(block)) {}
  static std::shared_ptr<DispatchWorkItem> make(Block block) {
    return std::make_shared<DispatchWorkItem>(std::move(block));
  }

  void perform();
  void cancel() { cancelled_.store(true); }
  bool isCancelled() const { return cancelled_.load(); }

 private:
  Block block_;
  std::atomic<bool> cancelled_{false};
};

class DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  enum class Kind { serial, concurrent };

  static std::shared_ptr<DispatchQueue> makeSerial(std::shared_ptr<Scheduler> scheduler, std::string label);
  static std::shared_ptr<DispatchQueue> makeConcurrent(std::shared_ptr<Scheduler> scheduler, std::string label);
  // The main queue of a scheduler; use Scheduler::mainQueue() instead.
  static std::shared_ptr<DispatchQueue> makeMain(std::shared_ptr<Scheduler> scheduler);

  DispatchQueue(std::shared_ptr<Scheduler> scheduler, std::string label, Kind kind, bool isMain);
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  const std::string& label() const { return label_; }
  Kind kind() const { return kind_; }
  bool isMain() const { return isMain_; }
  // The scheduler serving this queue, or null once it is gone (work submitted then is dropped).
  std::shared_ptr<Scheduler> scheduler() const { return scheduler_.lock(); }
  // The scheduler's current date, or 0 once it is gone.
  Date now() const;

  void async(Block block);
  void async(const std::shared_ptr<DispatchWorkItem>& item);
  // On a serial queue every block is a barrier already.
  void asyncBarrier(Block block);
  // Runs `block` on this queue after every block submitted before it, and returns when it is done.
  // Called from a block of this same queue, it runs at once instead of deadlocking.
  void sync(const Block& block);
  template <typename Result>
  Result syncValue(const std::function<Result()>& block) {
    Result result{};
    sync([&] { result = block(); });
    return result;
  }
  void asyncAfter(double seconds, Block block);
  void asyncAfter(double seconds, const std::shared_ptr<DispatchWorkItem>& item);

  // True when the calling thread is inside a block of this queue.
  bool isCurrent() const;
  // The innermost queue whose block the calling thread runs, or null.
  static const DispatchQueue* current();

 private:
  struct Entry {
    Block block;
    bool barrier;
  };

  void enqueue(Block block, bool barrier);
  void runToken();
  void runEntry(Entry& entry);
  void launchTokens(int count);
  int tokensToLaunchLocked();

  // Weak: queues are owned by the SDK's objects and the scheduler by the host or the test, and
  // pending work holds its queue, so a strong reference would make a cycle.
  std::weak_ptr<Scheduler> scheduler_;
  const std::string label_;
  const Kind kind_;
  const bool isMain_;

  std::mutex mutex_;
  std::deque<Entry> pending_;
  int tokens_ = 0;   // runners handed to the scheduler and not yet started
  int running_ = 0;  // blocks executing now
  bool barrierRunning_ = false;
};

}  // namespace obx::platform
