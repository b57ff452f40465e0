// RUMCore on the real scheduler: tracked events sent from many threads while screens change, with
// the screen start running on a main loop served by the test's thread.
#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "lifecycle/observing.h"
#include "platform/dispatch/real_scheduler.h"
#include "rum/rum_core.h"
#include "session/tracked_events.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "store/repository.h"
#include "store/store_test_support.h"

namespace obx {
namespace {

class PublishedBatches : public BatchCoordinatorObserving {
 public:
  explicit PublishedBatches(std::shared_ptr<platform::Scheduler> scheduler)
      : notifier_(std::move(scheduler), std::nullopt, "BatchContext") {}
  void add(std::shared_ptr<BatchObserverValue> observer) override { notifier_.observe(std::move(observer)); }
  void remove(const std::shared_ptr<BatchObserverValue>& observer) override { notifier_.remove(observer); }
  std::optional<BatchContext> batchContext() const override { return notifier_.value(); }
  void publish(BatchContext batch) { notifier_.notify(std::move(batch)); }

 private:
  Notifier<std::optional<BatchContext>> notifier_;
};

// Goals from eight worker threads across a change of screen are each written once, inside a screen.
TEST(RUMCoreRealScheduler, TrackedEventsAcrossScreenChange) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  testing::TemporarySandbox sandbox;
  auto readWrite = platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
  auto configuration = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform::native(), scheduler);
  auto repository = std::make_shared<Repository>(configuration, FileStorage::make(readWrite, std::make_shared<Security>()),
                                                 nullptr, 16384.0, scheduler);
  auto batches = std::make_shared<PublishedBatches>(scheduler);
  auto trackedEvents = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler, std::nullopt, "TrackedEvent"));

  RUMDependencies dependencies;
  dependencies.configuration = configuration;
  dependencies.trackedEvents = trackedEvents;
  dependencies.batchCoordinator = batches;
  auto core = RUMCore::make(dependencies, std::make_shared<DataController>(repository), scheduler);

  const platform::Date start = scheduler->clock().now();
  const BatchContext first{"A_1", ViewContext{"A", start, "First", {390, 844}, false, false}};
  const BatchContext second{"B_1", ViewContext{"B", start, "Second", {390, 844}, false, false}};
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
    for (const std::string& block : repository->events(batch.id)) {
      Json event = Json::parse(block);
      if (event["t"] == "goal") goals.push_back(event);
    }
    return goals;
  };
  // Every goal may be written before the second screen opens: the wait is for both.
  bool finished = scheduler->runMainLoop(
      [&] {
        return goalsIn(first).size() + goalsIn(second).size() == static_cast<std::size_t>(kGoals) &&
               !repository->events(second.id).empty();
      },
      20.0);
  ASSERT_TRUE(finished);

  std::set<std::string> names;
  for (const BatchContext* batch : {&first, &second}) {
    std::vector<std::string> types;
    for (const std::string& block : repository->events(batch->id)) types.push_back(Json::parse(block)["t"]);
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
