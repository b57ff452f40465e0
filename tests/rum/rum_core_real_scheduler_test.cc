// RUMCore on the real scheduler: tracked events sent from many threads while screens change, with
// the screen start running on a main loop served by the test's thread.
#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "platform/dispatch/real_scheduler.h"
#include "rum/rum_core.h"
#include "session/tracked_events.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"

namespace obx {
namespace {

// Goals from eight worker threads across a change of screen are each written once, inside a screen.
TEST(RUMCoreRealScheduler, TrackedEventsAcrossScreenChange) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  testing::Spool spool(scheduler);
  auto batches = std::make_shared<testing::ManualBatches>(scheduler);
  auto trackedEvents = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler, std::nullopt, "TrackedEvent"));

  RUMDependencies dependencies;
  dependencies.configuration = spool.configuration();
  dependencies.trackedEvents = trackedEvents;
  dependencies.batchCoordinator = batches;
  auto core = RUMCore::make(dependencies, spool.dataController(), scheduler);

  const platform::Date start = scheduler->clock().now();
  const BatchContext first = testing::Spool::batch("A_1", start, "First");
  const BatchContext second = testing::Spool::batch("B_1", start, "Second");
  batches->publish(first);

  constexpr int kGoals = 400;
  auto senders = platform::DispatchQueue::makeConcurrent(scheduler, "test.senders");
  for (int i = 0; i < kGoals; ++i) {
    senders->async([&, i] {
      trackedEvents->sendGoal("goal-" + std::to_string(i), static_cast<float>(i));
      if (i == kGoals / 2) batches->publish(second);
    });
  }

  auto goalsIn = [&](const BatchContext& batch) {
    std::vector<Json> goals;
    for (const Json& event : spool.events(batch)) {
      if (event["t"] == "goal") goals.push_back(event);
    }
    return goals;
  };
  // Every goal may be written before the second screen opens: the wait is for both.
  bool finished = scheduler->runMainLoop(
      [&] {
        return goalsIn(first).size() + goalsIn(second).size() == static_cast<std::size_t>(kGoals) &&
               !spool.events(second).empty();
      },
      20.0);
  ASSERT_TRUE(finished);

  std::set<std::string> names;
  for (const BatchContext* batch : {&first, &second}) {
    std::vector<std::string> types = spool.types(*batch);
    ASSERT_GE(types.size(), 2u);
    EXPECT_EQ(types[0], "screen");
    EXPECT_EQ(types[1], "aM");
    for (const Json& goal : goalsIn(*batch)) {
      EXPECT_GE(goal["o"].get<std::int64_t>(), 0);
      names.insert(goal["d"]["conid"].get<std::string>());
    }
    if (batch == &first) {
      // The first screen closed after its goals.
      ASSERT_GE(types.size(), 5u);
      EXPECT_EQ((std::vector<std::string>(types.end() - 3, types.end())),
                (std::vector<std::string>{"samplingStatus", "aE", "bE"}));
    }
  }
  EXPECT_EQ(names.size(), static_cast<std::size_t>(kGoals));

  core.reset();
  scheduler->runMainLoop([] { return true; }, 0.1);
}

}  // namespace
}  // namespace obx
