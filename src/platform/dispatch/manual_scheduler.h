// ManualScheduler: virtual time on one thread, for tests. Nothing runs until the test drives it:
// runUntilIdle() runs every block that is ready (and timers already due), in the order they became
// ready; advance(seconds) moves the clock forward and runs what falls due, in time order.
// Work may be posted from other threads; it runs when the driving thread next drives.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/dispatch/scheduler.h"

namespace obx::platform {

class ManualScheduler final : public Scheduler {
 public:
  static std::shared_ptr<ManualScheduler> make(Date start = ManualClock::kDefaultStart) {
    return std::make_shared<ManualScheduler>(start);
  }
  explicit ManualScheduler(Date start = ManualClock::kDefaultStart) : clock_(start) {}

  const Clock& clock() const override { return clock_; }
  void execute(Block runnable) override;
  void executeOnMain(Block runnable) override { execute(std::move(runnable)); }
  void executeAfter(double seconds, Block runnable) override;
  bool runsInline() const override { return true; }

  // Runs ready blocks and due timers until none is left. Returns how many ran.
  std::size_t runUntilIdle();
  // Moves virtual time forward by `seconds`, firing timers in time order on the way.
  void advance(double seconds);
  Date now() const { return clock_.now(); }
  std::size_t pendingTimers() const;
  // Runs the next ready block (or due timer), if any: a test steps with it to look between blocks.
  bool runOne();

 private:
  ManualClock clock_;
  mutable std::mutex mutex_;
  std::deque<Block> ready_;
  std::multimap<std::pair<Date, std::uint64_t>, Block> timers_;
  std::uint64_t sequence_ = 0;
};

}  // namespace obx::platform
