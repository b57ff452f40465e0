#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/dispatch/real_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

// Screens and application states as the test publishes them.
class FakeScreens : public ScreenDetectionObserving, public AppLifeCycleObserving {
 public:
  explicit FakeScreens(std::shared_ptr<platform::Scheduler> scheduler)
      : screens(scheduler, std::nullopt, "ViewContext"), states(scheduler, AppStateCycle::active, "AppStateCycle") {}
  void add(std::shared_ptr<ScreenObserverValue> observer) override { screens.observe(std::move(observer)); }
  void remove(const std::shared_ptr<ScreenObserverValue>& observer) override { screens.remove(observer); }
  std::optional<ViewContext> screenDetected() const override { return screens.value(); }
  void add(std::shared_ptr<ObserverValue<AppStateCycle>> observer) override { states.observe(std::move(observer)); }
  void remove(const std::shared_ptr<ObserverValue<AppStateCycle>>& observer) override { states.remove(observer); }

  Notifier<std::optional<ViewContext>> screens;
  Notifier<AppStateCycle> states;
};

class BatchCoordinatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    Configuration configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration_ = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler_);
    coordinator_ = BatchCoordinator::make(
        scheduler_, fake_, configuration_, fake_,
        std::make_shared<Notifier<std::optional<BatchContext>>>(scheduler_, std::nullopt, "BatchContext"));
    auto queue = platform::DispatchQueue::makeSerial(scheduler_, "test.batches");
    coordinator_->add(BatchObserverValue::make(queue, [this](const std::optional<BatchContext>& batch,
                                                             const std::optional<BatchContext>&) {
      batches_.push_back(batch ? batch->id : "-");
    }));
    scheduler_->runUntilIdle();
  }
  static ViewContext screen(const std::string& id) {
    ViewContext context;
    context.screenID = id;
    context.name = "Home";
    return context;
  }
  std::vector<std::string> take() {
    scheduler_->runUntilIdle();
    return std::exchange(batches_, {});
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();  // 2026-01-01 00:00:00 UTC
  std::shared_ptr<FakeScreens> fake_ = std::make_shared<FakeScreens>(scheduler_);
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<BatchCoordinator> coordinator_;
  std::vector<std::string> batches_;
  testing::LogCapture logs_;
};

// A screen opens a batch at once; each 5.0 seconds cut the next one; a new screen restarts the cycle.
// An absent screen publishes an absent batch, and the cycle goes on publishing absent.
TEST_F(BatchCoordinatorTest, IdsAndCycle) {
  fake_->screens.notify(screen("A"));
  EXPECT_EQ(take(), (std::vector<std::string>{"A_20260101000000"}));
  scheduler_->advance(4.9);
  EXPECT_TRUE(take().empty());
  scheduler_->advance(0.1);
  EXPECT_EQ(take(), (std::vector<std::string>{"A_20260101000005"}));
  EXPECT_TRUE(logs_.contains("📬 Start worker to batch cycle", LogLevel::developer));
  scheduler_->advance(2.0);
  fake_->screens.notify(screen("B"));  // within the same second as nothing else: its own screen ID
  EXPECT_EQ(take(), (std::vector<std::string>{"B_20260101000007"}));
  scheduler_->advance(4.0);
  EXPECT_TRUE(take().empty());  // the old cycle (due at 10 s) was cancelled
  scheduler_->advance(1.0);
  EXPECT_EQ(take(), (std::vector<std::string>{"B_20260101000012"}));
  EXPECT_EQ(coordinator_->batchContext()->viewContext.screenID, "B");
  fake_->screens.notify(std::nullopt);
  EXPECT_EQ(take(), (std::vector<std::string>{"-"}));
  scheduler_->advance(5.0);
  EXPECT_EQ(take(), (std::vector<std::string>{"-"}));
}

// In the background no batch is cut until the next screen; start() does not restart the cycle.
TEST_F(BatchCoordinatorTest, BackgroundPausesUntilNextScreen) {
  fake_->screens.notify(screen("A"));
  take();
  fake_->states.notify(AppStateCycle::background);
  scheduler_->runUntilIdle();
  coordinator_->start(0);
  scheduler_->advance(20.0);
  EXPECT_TRUE(take().empty());
  fake_->screens.notify(screen("C"));
  EXPECT_EQ(take(), (std::vector<std::string>{"C_20260101000020"}));
  scheduler_->advance(5.0);
  EXPECT_EQ(take(), (std::vector<std::string>{"C_20260101000025"}));
}

// start() is idempotent; stop() cancels the cycle and publishes absent.
TEST_F(BatchCoordinatorTest, StartAndStop) {
  coordinator_->start(0);
  coordinator_->start(0);
  scheduler_->runUntilIdle();
  EXPECT_EQ(take(), (std::vector<std::string>{"-"}));  // one tick, nothing to batch yet
  fake_->screens.notify(screen("A"));
  take();
  coordinator_->stop();
  EXPECT_EQ(take(), (std::vector<std::string>{"-"}));
  EXPECT_FALSE(coordinator_->batchContext().has_value());
  scheduler_->advance(30.0);
  EXPECT_TRUE(take().empty());
}

// Screen changes on one thread while another stops and restarts the coordinator, with a cycle of
// a few milliseconds: after the final stop no batch is published any more, and the coordinator
// holds none (a stop never falls between the cancel and the reschedule of a screen change or a tick).
TEST(BatchCoordinatorRace, NoCycleOutlivesAStop) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  Configuration configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false);
  auto sdkConfiguration = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler);
  sdkConfiguration->editLiveConfiguration([](LiveConfiguration& live) { live.batchTime = 0.002; });
  sdkConfiguration->applyLiveConfiguration();
  auto fake = std::make_shared<FakeScreens>(scheduler);
  auto coordinator = BatchCoordinator::make(
      scheduler, fake, sdkConfiguration, fake,
      std::make_shared<Notifier<std::optional<BatchContext>>>(scheduler, std::nullopt, "BatchContext"));
  // Shared with the observer, which a worker may still be running when the test returns.
  struct Published {
    std::mutex mutex;
    std::vector<std::string> screens;
  };
  auto record = std::make_shared<Published>();
  coordinator->add(BatchObserverValue::make(platform::DispatchQueue::makeSerial(scheduler, "test.batches"),
                                            [record](const std::optional<BatchContext>& batch, const auto&) {
                                              std::lock_guard lock(record->mutex);
                                              record->screens.push_back(batch ? batch->viewContext.screenID : "-");
                                            }));
  auto count = [&] {
    std::lock_guard lock(record->mutex);
    return record->screens.size();
  };
  auto last = [&] {
    std::lock_guard lock(record->mutex);
    return record->screens.empty() ? std::string() : record->screens.back();
  };

  constexpr int kRounds = 2000;
  const std::string lastScreen = "S" + std::to_string(kRounds - 1);
  auto sawLastScreen = [&] {
    std::lock_guard lock(record->mutex);
    return std::find(record->screens.begin(), record->screens.end(), lastScreen) != record->screens.end();
  };
  std::atomic<int> finished{0};
  platform::DispatchQueue::makeSerial(scheduler, "test.screens")->async([&] {
    for (int i = 0; i < kRounds; ++i) {
      ViewContext context;
      context.screenID = "S" + std::to_string(i);
      fake->screens.notify(context);
    }
    ++finished;
  });
  // Stops and starts for as long as the screen changes are handled, so that the two overlap.
  platform::DispatchQueue::makeSerial(scheduler, "test.starts")->async([&] {
    while (!sawLastScreen()) {
      coordinator->stop();
      coordinator->start(0);
    }
    ++finished;
  });
  ASSERT_TRUE(scheduler->runMainLoop([&] { return finished.load() == 2; }, 60.0));
  // Screen changes still queued may start a cycle again, as a new screen does: wait for the last one.
  scheduler->runMainLoop([] { return false; }, 0.05);
  const std::size_t beforeStop = count();
  coordinator->stop();
  ASSERT_TRUE(scheduler->runMainLoop([&] { return count() > beforeStop && last() == "-"; }, 10.0));
  const std::size_t afterStop = count();
  // Some hundred cycles' worth of time: a cycle that outlived the stop would publish here.
  scheduler->runMainLoop([] { return false; }, 0.3);
  EXPECT_EQ(count(), afterStop);
  EXPECT_EQ(last(), "-");
  EXPECT_FALSE(coordinator->batchContext().has_value());
  coordinator.reset();
}

}  // namespace
}  // namespace obx
