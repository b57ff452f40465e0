#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/display_link.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/text/date_format.h"

namespace obx::platform {
namespace {

class ManualSchedulerTest : public ::testing::Test {
 protected:
  std::shared_ptr<ManualScheduler> scheduler_ = ManualScheduler::make();
};

// Nothing runs until the test drives the scheduler, and then blocks run in submission order; sync
// runs what was queued before it, then its block, before returning.
TEST_F(ManualSchedulerTest, RunsOnlyWhenDrivenAndSyncRunsEarlierBlocksFirst) {
  auto queue = DispatchQueue::makeSerial(scheduler_, "q");
  std::vector<int> order;
  queue->async([&] { order.push_back(1); });
  queue->async([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());
  scheduler_->runUntilIdle();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  queue->async([&] { order.push_back(3); });
  queue->sync([&] { order.push_back(4); });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
  scheduler_->runUntilIdle();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

// advance() fires timers in time order, moving the clock to each one's due date on the way, and
// leaves later timers pending.
TEST_F(ManualSchedulerTest, AdvanceFiresDueTimersInTimeOrderAtTheirDates) {
  auto queue = DispatchQueue::makeSerial(scheduler_, "q");
  const Date start = scheduler_->now();
  std::vector<std::pair<int, double>> fired;
  const double delays[] = {3.0, 1.0, 2.0, 7.0};
  for (int i = 0; i < 4; ++i) {
    queue->asyncAfter(delays[i], [&, i] { fired.emplace_back(i, scheduler_->now() - start); });
  }
  scheduler_->advance(5.0);
  ASSERT_EQ(fired.size(), 3u);
  EXPECT_EQ(fired[0], std::make_pair(1, 1.0));
  EXPECT_EQ(fired[1], std::make_pair(2, 2.0));
  EXPECT_EQ(fired[2], std::make_pair(0, 3.0));
  EXPECT_DOUBLE_EQ(scheduler_->now() - start, 5.0);
  EXPECT_EQ(scheduler_->pendingTimers(), 1u);
  scheduler_->advance(2.0);
  EXPECT_EQ(fired.size(), 4u);
}

// A timer scheduled by a timer that fires during advance() also fires if it falls inside the span.
TEST_F(ManualSchedulerTest, ChainedTimersFireWithinOneAdvance) {
  auto queue = DispatchQueue::makeSerial(scheduler_, "q");
  int ticks = 0;
  std::function<void()> tick = [&] {
    ++ticks;
    queue->asyncAfter(1.0, tick);
  };
  queue->asyncAfter(1.0, tick);
  scheduler_->advance(5.0);
  EXPECT_EQ(ticks, 5);
}

// A cancelled work item does not run; a queue whose scheduler is gone drops its work quietly.
TEST_F(ManualSchedulerTest, CancelledItemsAndOrphanQueues) {
  auto queue = DispatchQueue::makeSerial(scheduler_, "q");
  bool ran = false;
  auto item = DispatchWorkItem::make([&] { ran = true; });
  queue->asyncAfter(1.0, item);
  item->cancel();
  scheduler_->advance(2.0);
  EXPECT_FALSE(ran);

  auto lonely = DispatchQueue::makeSerial(ManualScheduler::make(), "orphan");
  lonely->async([&] { ran = true; });
  lonely->sync([&] { ran = true; });
  EXPECT_FALSE(ran);
}

// A display link at 2 frames per second ticks twice per second of virtual time and stops at once
// when invalidated.
TEST_F(ManualSchedulerTest, DisplayLinkTicksAtItsRate) {
  int ticks = 0;
  auto link = DisplayLink::make(scheduler_->mainQueue(), 2.0, [&](Date) { ++ticks; });
  link->start();
  scheduler_->advance(3.0);
  EXPECT_EQ(ticks, 6);
  link->invalidate();
  scheduler_->advance(3.0);
  EXPECT_EQ(ticks, 6);
}

// Dates format with the platform's pattern letters.
TEST(DateFormat, PatternLetters) {
  struct Case {
    const char* pattern;
    const char* expected;
  } cases[] = {
      {"yyyy-MM-dd HH:mm:ss", "2026-01-02 03:04:05"},
      {"yyyyMMddHHmmss", "20260102030405"},
      {"HH:mm:ss.SSS", "03:04:05.250"},
      {"'at' HH", "at 03"},
  };
  const Date date = 1767225600.0 + 86400 + 3 * 3600 + 4 * 60 + 5.25;
  for (const auto& c : cases) EXPECT_EQ(formatDateUTC(date, c.pattern), c.expected) << c.pattern;
}

}  // namespace
}  // namespace obx::platform
