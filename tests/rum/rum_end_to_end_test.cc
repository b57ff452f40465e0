// A host application runs through screens with the real producers and the real store under the
// manual scheduler; the spool is then read back through the repository.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "config/sdk_configuration.h"
#include "lifecycle/app_life_cycle.h"
#include "lifecycle/batch_coordinator.h"
#include "lifecycle/device_performance.h"
#include "lifecycle/reachability_observer.h"
#include "lifecycle/screen_detector.h"
#include "lifecycle/view_life_cycle.h"
#include "lifecycle/view_properties.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/process/process_info.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"
#include "rum/rum_feature.h"
#include "session/metrics.h"
#include "session/session_life_cycle.h"
#include "session/tracked_events.h"
#include "store/cache_controller.h"
#include "testing/fake_reachability.h"
#include "testing/log_capture.h"
#include "testing/spool.h"

namespace obx {
namespace {

class HomeController : public platform::ViewController {};
class DetailController : public platform::ViewController {};
class ThirdController : public platform::ViewController {};

struct StoredBatch {
  std::string id;
  std::vector<Json> events;  // in file order, "performance" included
  double startTime = 0;
  // The types in order, without the performance records that come on their own clock.
  std::vector<std::string> types() const {
    std::vector<std::string> list;
    for (const Json& event : events) {
      if (event["t"] != "performance") list.push_back(event["t"].get<std::string>());
    }
    return list;
  }
  const Json* first(const std::string& type) const {
    for (const Json& event : events) {
      if (event["t"] == type) return &event;
    }
    return nullptr;
  }
};

class RUMEndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    configuration_ = spool_.configuration();
    auto center = application_->notificationCenter();

    devicePerformance_ = DevicePerformance::make(
        scheduler_, std::make_shared<platform::ProcessInfo>(), application_->device(), configuration_,
        std::make_shared<Notifier<std::optional<DeviceMeasure>>>(scheduler_, std::nullopt, "DeviceMeasure"));
    viewLifeCycle_ = std::make_shared<ViewLifeCycle>(
        std::make_shared<Notifier<ViewStateCycle>>(scheduler_, ViewStateCycle::viewDidLoad, "ViewStateCycle"));
    appLifeCycle_ = AppLifeCycle::make(
        center, std::make_shared<Notifier<AppStateCycle>>(scheduler_, AppStateCycle::active, "AppStateCycle"));
    screenDetector_ = ScreenDetector::make(
        scheduler_, center, application_, viewLifeCycle_, appLifeCycle_, configuration_,
        std::make_shared<Notifier<std::optional<ViewContext>>>(scheduler_, std::nullopt, "ViewContext"));
    cache_ = CacheController::make(spool_.readWrite());
    sessions_ = SessionLifeCycle::make(
        scheduler_, appLifeCycle_,
        std::make_shared<SessionLifeCycle::SessionNotifier>(scheduler_, std::nullopt, "SessionContext"),
        configuration_, cache_, [] { return SessionLifeCycle::SessionURLCallback(); }, center);
    trackedEvents_ = std::make_shared<TrackedEvents>(
        std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent"));
    metrics_ = std::make_shared<Metrics>(configuration_);
    batchCoordinator_ = BatchCoordinator::make(
        scheduler_, screenDetector_, configuration_, appLifeCycle_,
        std::make_shared<Notifier<std::optional<BatchContext>>>(scheduler_, std::nullopt, "BatchContext"));
    reachability_ = ReachabilityObserver::make(
        fakeReachability_,
        std::make_shared<Notifier<std::optional<ReachabilityConnection>>>(scheduler_, ReachabilityConnection::none,
                                                                          "ReachabilityConnection"));
    reachability_->start();
    fakeReachability_->set(platform::Reachability::Connection::wifi);

    spool_.reopen(testing::Spool::Options().withConfiguration(configuration_).withFootprint(devicePerformance_));

    RUMDependencies dependencies;
    dependencies.metrics = metrics_;
    dependencies.appCycle = appLifeCycle_;
    dependencies.screenDetector = screenDetector_;
    dependencies.devicePerformance = devicePerformance_;
    dependencies.trackedEvents = trackedEvents_;
    dependencies.configuration = configuration_;
    dependencies.sessions = sessions_;
    dependencies.reachability = reachability_;
    dependencies.batchCoordinator = batchCoordinator_;
    counterBefore_ = RUMCore::screenCounter();
    feature_ = RUMFeature::make(dependencies, spool_.dataController(), scheduler_);
    batchCoordinator_->start(0);
    scheduler_->runUntilIdle();
  }

  void TearDown() override {
    feature_.reset();
    batchCoordinator_.reset();
    devicePerformance_->stop();
    scheduler_->runUntilIdle();
  }

  // Every batch folder of the spool, read back through the repository, ordered by opening time.
  std::vector<StoredBatch> spool() {
    scheduler_->runUntilIdle();
    std::vector<StoredBatch> batches;
    for (const auto& entry : std::filesystem::directory_iterator(spool_.sandbox().storeRoot())) {
      if (!entry.is_directory()) continue;
      StoredBatch batch{entry.path().filename().string(), spool_.events(entry.path().filename().string()), 0};
      if (const Json* opening = batch.first("batch")) batch.startTime = (*opening)["d"]["startTime"].get<double>();
      batches.push_back(std::move(batch));
    }
    std::sort(batches.begin(), batches.end(),
              [](const StoredBatch& a, const StoredBatch& b) { return a.startTime < b.startTime; });
    return batches;
  }

  static std::string screenIDOf(const StoredBatch& batch) { return batch.id.substr(0, batch.id.find('_')); }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_};
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<testing::FakeReachability> fakeReachability_ = std::make_shared<testing::FakeReachability>();
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<DevicePerformance> devicePerformance_;
  std::shared_ptr<ViewLifeCycle> viewLifeCycle_;
  std::shared_ptr<AppLifeCycle> appLifeCycle_;
  std::shared_ptr<ScreenDetector> screenDetector_;
  std::shared_ptr<CacheController> cache_;
  std::shared_ptr<SessionLifeCycle> sessions_;
  std::shared_ptr<TrackedEvents> trackedEvents_;
  std::shared_ptr<Metrics> metrics_;
  std::shared_ptr<BatchCoordinator> batchCoordinator_;
  std::shared_ptr<ReachabilityObserver> reachability_;
  std::shared_ptr<RUMFeature> feature_;
  std::int64_t counterBefore_ = 0;
};

using Types = std::vector<std::string>;

// Three tracked screens, a discarded one between them, a further batch and a trip to the
// background: each batch holds exactly its events, in order, with offsets from its screen's start.
TEST_F(RUMEndToEndTest, ScreensBatchesDiscardedScreenAndBackgroundTrip) {
  const platform::Date t0 = scheduler_->now();
  trackedEvents_->sendGoal("before-first-batch", 3.5f);
  scheduler_->runUntilIdle();

  auto home = std::make_shared<HomeController>();
  setObxScreenName(*home, "Home");
  auto navigation = platform::NavigationController::make(home);
  auto window = std::make_shared<platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  scheduler_->runUntilIdle();

  scheduler_->advance(5.0);  // the batch cycle cuts a further batch of Home
  scheduler_->advance(2.0);

  auto detail = std::make_shared<DetailController>();
  setObxScreenName(*detail, "Detail");
  setObxDisableAnalyticsAndRecordingOnThisScreen(*detail, true);
  navigation->pushViewController(detail, true);
  scheduler_->runUntilIdle();
  trackedEvents_->sendGoal("on-discarded", std::nullopt);
  scheduler_->advance(1.0);

  auto third = std::make_shared<ThirdController>();
  setObxScreenName(*third, "Third");
  navigation->pushViewController(third, true);
  scheduler_->runUntilIdle();
  scheduler_->advance(2.0);

  application_->moveToBackground();
  scheduler_->runUntilIdle();
  scheduler_->advance(60.0);
  application_->returnToForeground();
  scheduler_->runUntilIdle();
  scheduler_->advance(1.0);

  std::vector<StoredBatch> batches = spool();
  ASSERT_EQ(batches.size(), 4u);
  const StoredBatch& home1 = batches[0];
  const StoredBatch& home2 = batches[1];
  const StoredBatch& third1 = batches[2];
  const StoredBatch& third2 = batches[3];

  EXPECT_EQ(home1.types(), (Types{"session", "batch", "screen", "aM", "goal", "bE"}));
  EXPECT_EQ(home2.types(), (Types{"session", "batch", "samplingStatus", "aE", "bE"}));
  EXPECT_EQ(third1.types(), (Types{"session", "batch", "screen", "aM", "goal", "samplingStatus", "aE", "bE"}));
  EXPECT_EQ(third2.types(), (Types{"session", "batch", "screen", "aM", "idle"}));

  // One screen ID for both Home batches; the return from the background is a new screen.
  EXPECT_EQ(screenIDOf(home1), screenIDOf(home2));
  EXPECT_NE(screenIDOf(third1), screenIDOf(third2));

  // Offsets: non-negative, non-decreasing within a batch, from each screen's start.
  for (const StoredBatch& batch : batches) {
    std::int64_t last = 0;
    for (const Json& event : batch.events) {
      std::int64_t offset = event["o"].get<std::int64_t>();
      EXPECT_GE(offset, last) << batch.id << " " << event.dump();
      last = offset;
    }
  }
  EXPECT_EQ(home1.events.front()["o"], 0);
  EXPECT_EQ((*home2.first("session"))["o"], 5000);
  EXPECT_EQ((*home2.first("aE"))["o"], 7000);
  EXPECT_EQ(third1.events.front()["o"], 0);
  EXPECT_EQ((*third1.first("aE"))["o"], 2000);
  EXPECT_EQ(third2.events.front()["o"], 0);

  // The goals: the early one after "aM" of the first screen, the discarded screen's one in the
  // next tracked screen at that screen's start.
  EXPECT_EQ((*home1.first("goal"))["d"], Json::parse(R"({"conid":"before-first-batch","conc":"","conv":3.5})"));
  EXPECT_EQ((*home1.first("goal"))["o"], 0);
  EXPECT_EQ((*third1.first("goal"))["d"], Json::parse(R"({"conid":"on-discarded","conc":"","conv":0.0})"));
  EXPECT_EQ((*third1.first("goal"))["o"], 0);

  // Screen indexes count tracked screens only.
  EXPECT_EQ((*home1.first("screen"))["d"]["sI"], counterBefore_ + 1);
  EXPECT_EQ((*home1.first("screen"))["d"]["sN"], "Home");
  EXPECT_EQ((*home1.first("screen"))["d"]["sT"], static_cast<std::int64_t>(t0));
  EXPECT_EQ((*home1.first("screen"))["d"]["o"], "vt2b");
  EXPECT_EQ((*third1.first("screen"))["d"]["sI"], counterBefore_ + 2);
  EXPECT_EQ((*third1.first("screen"))["d"]["sN"], "Third");
  EXPECT_EQ((*third2.first("screen"))["d"]["sI"], counterBefore_ + 3);
  EXPECT_EQ((*third2.first("screen"))["d"]["sT"], static_cast<std::int64_t>(t0) + 70);

  // cScreenID is the MD5 of "<name>_<index>_<seconds>" (digests from `openssl md5`), the same in
  // each batch of a screen; startTime is the opening moment.
  if (counterBefore_ == 0) {
    EXPECT_EQ((*home1.first("batch"))["d"]["cScreenID"], "cd0cc2c18a2fdb5314cca8f3361c21f3");
    EXPECT_EQ((*third1.first("batch"))["d"]["cScreenID"], "b8caac3d61c18b202d7a13576802482b");
    EXPECT_EQ((*third2.first("batch"))["d"]["cScreenID"], "4506d58c0f1a7cb879cb676e04130e9e");
  }
  EXPECT_EQ((*home1.first("batch"))["d"]["cScreenID"], (*home2.first("batch"))["d"]["cScreenID"]);
  EXPECT_DOUBLE_EQ(home1.startTime, t0);
  EXPECT_DOUBLE_EQ(home2.startTime, t0 + 5.0);

  // The session record names the current session in every batch.
  const SessionContext session = *sessions_->sessionContext();
  for (const StoredBatch& batch : batches) {
    EXPECT_EQ((*batch.first("session"))["d"], Json({{"sessionID", session.sessionID}, {"leadID", session.leadID}}));
  }

  // appMiscellaneous: launches grow with the trip to the background; connectivity follows the monitor.
  EXPECT_EQ((*home1.first("aM"))["d"]["aL"], 1);
  EXPECT_EQ((*home1.first("aM"))["d"]["cT"], "WiFi");
  EXPECT_EQ((*third2.first("aM"))["d"]["aL"], 2);

  // idle: 60 seconds away, from the moment the application left.
  EXPECT_EQ((*third2.first("idle"))["d"], Json({{"t", 60.0}, {"iS", static_cast<std::int64_t>(t0) + 10}}));

  // The sampling record of an undecided session.
  EXPECT_EQ((*home2.first("samplingStatus"))["d"],
            Json({{"experienceDataStatus", 0}, {"analysisDataStatusSession", 0}, {"replayDataStatus", 0}}));

  // Performance records come from the real monitor into tracked screens only.
  const Json* performance = home1.first("performance") ? home1.first("performance") : home2.first("performance");
  ASSERT_NE(performance, nullptr);
  for (const char* key : {"c", "m", "b", "nC", "mM"}) EXPECT_TRUE((*performance)["d"].contains(key)) << key;
}

}  // namespace
}  // namespace obx
