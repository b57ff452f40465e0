#include "rum/rum_core.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "lifecycle/observing.h"
#include "lifecycle/reachability_observing.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "rum/rum_feature.h"
#include "session/crash_coordinator.h"
#include "session/metrics.h"
#include "session/session_life_cycle_observing.h"
#include "session/tracked_events.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"

namespace obx {
namespace {

using testing::ManualAppCycle;
using testing::ManualBatches;
using testing::ManualPerformance;
using testing::ManualReachability;

// A touch at a point, with nothing else known of it.
Touch touchAt(std::int64_t x, std::int64_t y) {
  Touch touch;
  touch.x = x;
  touch.y = y;
  return touch;
}

class ScriptedPlaceholders : public RUMPlaceholderProviding {
 public:
  void placeholderImage(PlaceholderReason, Completion completion) override {
    ++requests;
    completion(answer);
  }
  int requests = 0;
  std::optional<std::string> answer = std::string("placeholder-jpeg");
};

class RecordingScrolls : public RUMScrollHandling {
 public:
  void start() override { ++starts; }
  std::vector<Scroll> takeScrolls() override { return std::exchange(scrolls, {}); }
  int starts = 0;
  std::vector<Scroll> scrolls;
};

class RecordingForms : public RUMFormHandling {
 public:
  void start(const ViewContext& context) override { started.push_back(context.name); }
  void handle(const FormSuccess& result) override { handled.push_back(result); }
  std::vector<TrackedEvent> takeFormEvents() override { return std::exchange(events, {}); }
  std::vector<std::string> started;
  std::vector<FormSuccess> handled;
  std::vector<TrackedEvent> events;
};

// A touch capture whose events the test publishes.
class ScriptedTouches : public testing::ManualProducer<std::vector<RUMTouchWrapper>, RUMTouchesObserving> {
 public:
  explicit ScriptedTouches(std::shared_ptr<platform::Scheduler> scheduler) : ManualProducer(std::move(scheduler), {}) {}
  void start() override { ++starts; }
  int starts = 0;
};

using Types = std::vector<std::string>;

class RUMCoreTest : public ::testing::Test {
 protected:
  void makeCore(RUMHandles handles = {}) {
    RUMDependencies dependencies;
    dependencies.metrics = std::make_shared<Metrics>(spool_.configuration());
    dependencies.appCycle = appCycle_;
    dependencies.devicePerformance = performance_;
    dependencies.trackedEvents = trackedEvents_;
    dependencies.configuration = spool_.configuration();
    dependencies.sessions = sessions_;
    dependencies.reachability = reachability_;
    dependencies.imagePlaceholderBuilder = placeholders_;
    dependencies.batchCoordinator = batches_;
    core_ = RUMCore::make(dependencies, spool_.dataController(), scheduler_, std::move(handles));
    scheduler_->runUntilIdle();
  }

  // A new screen (fresh screen ID) or a further batch of `screen`, published and run.
  BatchContext showScreen(const std::string& name, bool discardTracking = false) {
    ViewContext context{"SCREEN" + std::to_string(++screens_), scheduler_->now(), name, {390, 844}, false,
                        discardTracking};
    return publish(context);
  }
  BatchContext furtherBatch(const BatchContext& batch) { return publish(batch.viewContext); }
  BatchContext publish(const ViewContext& context) {
    BatchContext batch{context.screenID + "_" + std::to_string(++batchNumber_), context};
    batches_->publish(batch);
    scheduler_->runUntilIdle();
    return batch;
  }

  std::vector<Json> events(const BatchContext& batch) {
    scheduler_->runUntilIdle();
    return spool_.events(batch);
  }
  Types types(const BatchContext& batch) {
    scheduler_->runUntilIdle();
    return spool_.types(batch);
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_};
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<ManualBatches> batches_ = std::make_shared<ManualBatches>(scheduler_, std::nullopt);
  std::shared_ptr<ManualAppCycle> appCycle_ = std::make_shared<ManualAppCycle>(scheduler_, AppStateCycle::active);
  std::shared_ptr<ManualPerformance> performance_ = std::make_shared<ManualPerformance>(scheduler_, std::nullopt);
  std::shared_ptr<ManualReachability> reachability_ =
      std::make_shared<ManualReachability>(scheduler_, ReachabilityConnection::none);
  std::shared_ptr<TrackedEvents> trackedEvents_ = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent"));
  std::shared_ptr<testing::ManualSessions> sessions_ = std::make_shared<testing::ManualSessions>(scheduler_);
  std::shared_ptr<ScriptedPlaceholders> placeholders_ = std::make_shared<ScriptedPlaceholders>();
  std::shared_ptr<RUMCore> core_;
  int screens_ = 0;
  int batchNumber_ = 0;
};

// The crash path writes the end events before it returns, once, with the sampling the screen ended
// with; later notifications write nothing.
TEST_F(RUMCoreTest, CrashWritesEndEventsOnceWithTheCurrentSampling) {
  makeCore();
  BatchContext batch = showScreen("Home");
  ASSERT_EQ(types(batch), (Types{"session", "batch", "screen", "aM"}));
  spool_.configuration()->editLiveConfiguration([](LiveConfiguration& live) {
    live.experienceDataSampleMethod = SamplingMethod::weighted;
    live.replayLeadFlags = SamplingFlags::collectionOutSample;
  });
  spool_.configuration()->applyLiveConfiguration();
  scheduler_->runUntilIdle();

  const auto file = spool_.sandbox().storeRoot() / batch.id / batch.id;
  const auto sizeBefore = std::filesystem::file_size(file);
  CrashCoordinator::shared().crashed(Crash{1, "boom", 6, {}});
  // Written on this thread before the call returned, with no queue run since.
  EXPECT_GT(std::filesystem::file_size(file), sizeBefore);
  std::vector<Json> written = events(batch);
  // weightedSampling goes through the queued write, so it lands after the crash-time writes.
  ASSERT_EQ(types(batch), (Types{"session", "batch", "screen", "aM", "samplingStatus", "aE", "bE", "weightedSampling"}));
  EXPECT_EQ(written[4]["d"],
            Json({{"experienceDataStatus", 1}, {"analysisDataStatusSession", 1}, {"replayDataStatus", 2}}));
  EXPECT_EQ(written[7]["d"], Json({{"video", true}, {"data", true}, {"sampling", "weighted"}}));
  core_->applicationWillCrash();
  CrashCoordinator::shared().crashed(Crash{});
  EXPECT_EQ(types(batch).size(), 8u);
}

// A screen named in disableScreenTracking is discarded: nothing written, no index used, and its
// tracked events wait for the next tracked screen.
TEST_F(RUMCoreTest, DisabledScreenNameIsDiscarded) {
  spool_.configuration()->editLiveConfiguration(
      [](LiveConfiguration& live) { live.disableScreenTracking = StringList{"Secret"}; });
  spool_.configuration()->applyLiveConfiguration();
  makeCore();
  const std::int64_t before = RUMCore::screenCounter();

  BatchContext secret = showScreen("Secret");
  trackedEvents_->sendError("while hidden");
  scheduler_->advance(1.5);
  BatchContext secretAgain = furtherBatch(secret);
  EXPECT_TRUE(events(secret).empty());
  EXPECT_TRUE(events(secretAgain).empty());
  EXPECT_EQ(RUMCore::screenCounter(), before);

  // Names match exactly: a different case is tracked.
  BatchContext next = showScreen("secret");
  std::vector<Json> written = events(next);
  ASSERT_EQ(types(next), (Types{"session", "batch", "screen", "aM", "applicationError"}));
  EXPECT_EQ(written[2]["d"]["sI"], before + 1);
  EXPECT_EQ(written[4]["d"], Json({{"error", "while hidden"}}));
  EXPECT_EQ(written[4]["o"], 0);
}

// Consent analytics: the first batch of a screen asks for a placeholder and stores it; further
// batches repeat the same image event without asking again.
TEST_F(RUMCoreTest, PlaceholderUnderAnalyticsConsent) {
  spool_.reopen(testing::Spool::Options().withConsent(Consent::analytics));
  makeCore();
  BatchContext first = showScreen("Home");
  EXPECT_EQ(placeholders_->requests, 1);
  std::vector<Json> written = events(first);
  ASSERT_EQ(types(first), (Types{"session", "batch", "screen", "aM", "placeholder", "image"}));
  EXPECT_EQ(written[4]["d"], true);
  const Json image = written[5]["d"];
  EXPECT_EQ(image["index"], 0);
  EXPECT_EQ(image["name"], "0");
  EXPECT_EQ(image["width"], 390);
  EXPECT_EQ(image["height"], 844);
  EXPECT_EQ(image["timestamp"], static_cast<std::int64_t>(scheduler_->now() * 1000.0));
  std::vector<Image> stored = spool_.repository().images(first.id);
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].data, "placeholder-jpeg");
  EXPECT_TRUE(logs_.contains("Save placeholder image for screen: " + first.viewContext.screenID, LogLevel::qa));

  scheduler_->advance(5.0);
  BatchContext second = furtherBatch(first);
  EXPECT_EQ(placeholders_->requests, 1);
  written = events(second);
  ASSERT_EQ(types(second), (Types{"session", "batch", "image"}));
  EXPECT_EQ(written[2]["d"], image);

  // A large screen stores the placeholder's size halved; no answer leaves the next batch to ask again.
  application_->mainScreen()->setBounds(platform::Rect::make(0, 0, 1024.5, 1366.5));
  placeholders_->answer.reset();
  BatchContext tablet = showScreen("Tablet");
  EXPECT_EQ(types(tablet), (Types{"session", "batch", "screen", "aM"}));
  placeholders_->answer = "jpeg";
  written = events(furtherBatch(tablet));
  EXPECT_EQ(placeholders_->requests, 3);
  ASSERT_EQ(written.size(), 4u);
  EXPECT_EQ(written[3]["d"]["width"], 512);
  EXPECT_EQ(written[3]["d"]["height"], 683);
}

// On Flutter no placeholder is asked for and a formSuccess is dropped while a batch is open.
TEST_F(RUMCoreTest, FlutterSkipsPlaceholdersAndFormResults) {
  spool_.reopen(testing::Spool::Options().withConsent(Consent::analytics).withPlatform(
      Platform{PlatformType::flutter, "3.0.0", "Dart"}));
  auto forms = std::make_shared<RecordingForms>();
  makeCore(RUMHandles{nullptr, forms, nullptr});
  BatchContext batch = showScreen("Home");
  trackedEvents_->formSuccess();
  scheduler_->runUntilIdle();
  EXPECT_EQ(placeholders_->requests, 0);
  EXPECT_TRUE(forms->handled.empty());
  EXPECT_EQ(types(batch), (Types{"session", "batch", "screen", "aM"}));
}

// A form result goes to the form capture while a screen is open, and is written as an event only
// when it waited for a screen; the capture's events close the screen between samplingStatus and aE.
TEST_F(RUMCoreTest, FormsAndScrollsAtScreenEnd) {
  auto forms = std::make_shared<RecordingForms>();
  auto scrolls = std::make_shared<RecordingScrolls>();
  makeCore(RUMHandles{scrolls, forms, nullptr});
  trackedEvents_->formError("early", std::nullopt);
  scheduler_->runUntilIdle();

  BatchContext batch = showScreen("Form");
  EXPECT_EQ(scrolls->starts, 1);
  EXPECT_EQ(forms->started, std::vector<std::string>{"Form"});
  trackedEvents_->formSuccess();
  scheduler_->runUntilIdle();
  ASSERT_EQ(forms->handled.size(), 1u);
  EXPECT_TRUE(forms->handled[0].success);

  scrolls->scrolls = {Scroll{900, 1200, 35.5f}, Scroll{900, 300, 0.0f}};
  forms->events = {TrackedEvent{EventType::formMeta, FormMeta{"hash", "t", {}, 0, "login", "sel", 0}},
                   TrackedEvent{EventType::formView, FormView{1, 10, "hash", std::nullopt, std::nullopt}}};
  scheduler_->advance(1.0);
  appCycle_->publish(AppStateCycle::background);
  scheduler_->runUntilIdle();

  std::vector<Json> written = events(batch);
  ASSERT_EQ(types(batch), (Types{"session", "batch", "screen", "aM", "formSuccess", "samplingStatus", "scroll",
                                 "form-meta", "form-view", "aE", "bE"}));
  EXPECT_EQ(written[4]["d"], Json({{"success", false}, {"error", "early"}}));
  EXPECT_EQ(written[6]["d"], Json::parse(R"([{"sH":900,"fT":1200,"oY":35.5},{"sH":900,"fT":300,"oY":0.0}])"));
  EXPECT_EQ(written[9]["o"], 1000);
}

// Under the weighted method a further batch and the end of a screen write weightedSampling before bE.
TEST_F(RUMCoreTest, WeightedSamplingClosesBatches) {
  spool_.configuration()->editLiveConfiguration(
      [](LiveConfiguration& live) { live.experienceDataSampleMethod = SamplingMethod::weighted; });
  spool_.configuration()->applyLiveConfiguration();
  makeCore();
  BatchContext first = showScreen("Home");
  BatchContext second = furtherBatch(first);
  showScreen("Next");
  EXPECT_EQ(types(first), (Types{"session", "batch", "screen", "aM", "weightedSampling", "bE"}));
  EXPECT_EQ(types(second), (Types{"session", "batch", "samplingStatus", "aE", "weightedSampling", "bE"}));
  EXPECT_EQ(events(second)[4]["d"], Json({{"video", true}, {"data", true}, {"sampling", "weighted"}}));
  EXPECT_EQ(events(second)[2]["d"],
            Json({{"experienceDataStatus", 1}, {"analysisDataStatusSession", 1}, {"replayDataStatus", 0}}));
}

// The sampling records at the end of a screen carry the configuration as it stands then, including
// a change that arrived while the screen was shown; weightedSampling comes and goes with the method.
TEST_F(RUMCoreTest, SamplingRecordsFollowAChangeDuringTheScreen) {
  makeCore();
  BatchContext first = showScreen("Home");
  spool_.configuration()->editLiveConfiguration([](LiveConfiguration& live) {
    live.experienceDataSampleMethod = SamplingMethod::weighted;
    live.sessionCookieFlags = SamplingFlags::collectionOutSample;
    live.replaySessionFlags = SamplingFlags::appInSample;
  });
  spool_.configuration()->applyLiveConfiguration();
  scheduler_->runUntilIdle();
  BatchContext second = showScreen("Next");

  std::vector<Json> written = events(first);
  ASSERT_EQ(types(first), (Types{"session", "batch", "screen", "aM", "samplingStatus", "aE", "weightedSampling", "bE"}));
  EXPECT_EQ(written[4]["d"],
            Json({{"experienceDataStatus", 1}, {"analysisDataStatusSession", 1}, {"replayDataStatus", 1}}));
  EXPECT_EQ(written[6]["d"], Json({{"video", false}, {"data", false}, {"sampling", "weighted"}}));

  spool_.configuration()->editLiveConfiguration([](LiveConfiguration& live) {
    live.experienceDataSampleMethod = SamplingMethod::random;
    live.sessionCookieFlags = SamplingFlags::appOutSample;
    live.analysisLeadFlags = SamplingFlags::collectionInSample;
    live.replaySessionFlags.reset();
  });
  spool_.configuration()->applyLiveConfiguration();
  scheduler_->runUntilIdle();
  showScreen("Third");
  written = events(second);
  ASSERT_EQ(types(second), (Types{"session", "batch", "screen", "aM", "samplingStatus", "aE", "bE"}));
  EXPECT_EQ(written[4]["d"],
            Json({{"experienceDataStatus", 2}, {"analysisDataStatusSession", 1}, {"replayDataStatus", 0}}));
}

// The end of a screen clears the user's screen flag and reports it in samplingStatus first.
TEST_F(RUMCoreTest, UserScreenFlagLastsOneScreen) {
  makeCore();
  BatchContext first = showScreen("Home");
  spool_.configuration()->editUserConfiguration([](UserConfiguration& user) { user.userScreenFlag = false; });
  spool_.configuration()->applyUserConfiguration();
  scheduler_->runUntilIdle();
  BatchContext second = showScreen("Next");
  showScreen("Third");
  EXPECT_EQ(events(first)[4]["d"]["analysisDataStatusPage"], 2);
  EXPECT_FALSE(events(second)[4]["d"].contains("analysisDataStatusPage"));
  EXPECT_FALSE(spool_.configuration()->common().userScreenFlag.has_value());
}

// Each level's user override, set alone, moves only its own number in the samplingStatus record
// written at the end of the screen: true reads 1 where the server's flags say 2, false reads 2
// where they say 1. The method keeps every level collecting, so the record is written either way.
TEST_F(RUMCoreTest, EachUserOverrideMovesOnlyItsOwnLevel) {
  struct Override {
    const char* field;
    std::function<void(UserConfiguration&, std::optional<bool>)> set;
  };
  const std::vector<Override> overrides = {
      {"experienceDataStatus", [](UserConfiguration& user, std::optional<bool> v) { user.userSessionCookieFlag = v; }},
      {"analysisDataStatusSession",
       [](UserConfiguration& user, std::optional<bool> v) { user.userAnalysisSessionFlag = v; }},
      {"replayDataStatus", [](UserConfiguration& user, std::optional<bool> v) { user.userReplaySessionFlag = v; }},
      {"analysisDataStatusPage", [](UserConfiguration& user, std::optional<bool> v) { user.userScreenFlag = v; }},
  };
  makeCore();
  for (bool value : {true, false}) {
    const SamplingFlags server = value ? SamplingFlags::collectionOutSample : SamplingFlags::collectionInSample;
    spool_.configuration()->editLiveConfiguration([&](LiveConfiguration& live) {
      live.experienceDataSampleMethod = SamplingMethod::purposeful;
      live.analysisDataSampleMethod = SamplingMethod::purposeful;
      live.replayDataSampleMethod = SamplingMethod::purposeful;
      live.sessionCookieFlags = server;
      live.analysisSessionFlags = server;
      live.replaySessionFlags = server;
    });
    spool_.configuration()->applyLiveConfiguration();
    const std::int64_t serverStatus = value ? 2 : 1;
    const std::int64_t userStatus = value ? 1 : 2;
    for (const Override& level : overrides) {
      SCOPED_TRACE(std::string(level.field) + (value ? " true" : " false"));
      BatchContext batch = showScreen("Home");
      spool_.configuration()->editUserConfiguration([&](UserConfiguration& user) { level.set(user, value); });
      spool_.configuration()->applyUserConfiguration();
      scheduler_->runUntilIdle();
      showScreen("Next");

      Json expected = {{"experienceDataStatus", serverStatus},
                       {"analysisDataStatusSession", serverStatus},
                       {"replayDataStatus", serverStatus}};
      expected[level.field] = userStatus;
      std::optional<Json> record;
      for (const Json& event : events(batch)) {
        if (event["t"] == "samplingStatus") record = event["d"];
      }
      ASSERT_TRUE(record);
      EXPECT_EQ(*record, expected);

      spool_.configuration()->editUserConfiguration([&](UserConfiguration& user) { level.set(user, std::nullopt); });
      spool_.configuration()->applyUserConfiguration();
      scheduler_->runUntilIdle();
    }
  }
}

// Performance records carry the measure and the letter of the first stress kind.
TEST_F(RUMCoreTest, PerformanceRecordsAndStressLetters) {
  makeCore();
  BatchContext batch = showScreen("Home");
  const std::pair<std::vector<DeviceStressedType>, std::optional<std::string>> cases[] = {
      {{}, std::nullopt},
      {{DeviceStressedType::cpu}, "C"},
      {{DeviceStressedType::memory, DeviceStressedType::cpu}, "M"},
      {{DeviceStressedType::battery}, "B"},
  };
  for (const auto& [stress, letter] : cases) {
    performance_->publish(DeviceMeasure{stress, 0.25, 120.5, 0.8, 8, 16384.0});
    scheduler_->runUntilIdle();
  }
  performance_->publish(std::nullopt);
  std::vector<Json> written = events(batch);
  ASSERT_EQ(written.size(), 8u);
  for (std::size_t i = 0; i < 4; ++i) {
    Json expected = {{"c", 0.25}, {"m", 120.5}, {"b", 0.8}, {"nC", 8}, {"mM", 16384.0}};
    if (cases[i].second) expected["uS"] = *cases[i].second;
    EXPECT_EQ(written[4 + i]["t"], "performance");
    EXPECT_EQ(written[4 + i]["d"], expected);
  }
}

// Touches are grouped by kind into tB, tM and tE in that order; other kinds are dropped. The core lets
// go of the touch capture when it goes.
TEST_F(RUMCoreTest, TouchesGroupedByKind) {
  auto touches = std::make_shared<ScriptedTouches>(scheduler_);
  makeCore(RUMHandles{nullptr, nullptr, touches});
  EXPECT_EQ(touches->starts, 1);
  BatchContext batch = showScreen("Home");
  touches->publish({{EventType::touchEnded, touchAt(5, 6)},
                    {EventType::touchBegan, touchAt(1, 2)},
                    {EventType::goal, touchAt(9, 9)},
                    {EventType::touchBegan, touchAt(3, 4)}});
  scheduler_->runUntilIdle();
  std::vector<Json> written = events(batch);
  ASSERT_EQ(types(batch), (Types{"session", "batch", "screen", "aM", "tB", "tE"}));
  EXPECT_EQ(written[4]["d"], Json::parse(R"([{"x":1,"y":2},{"x":3,"y":4}])"));
  EXPECT_EQ(written[5]["d"], Json::parse(R"([{"x":5,"y":6}])"));
  core_.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(touches->observerCount(), 0u);
}

// A batch and a measure that exist before the core are handed to it at construction, and the
// known connection is used at once.
TEST_F(RUMCoreTest, CurrentValuesAtConstruction) {
  ViewContext context{"EARLY", scheduler_->now(), "Early", {390, 844}, false, false};
  batches_->publish(BatchContext{"EARLY_1", context});
  reachability_->publish(ReachabilityConnection::cellular);
  scheduler_->runUntilIdle();
  makeCore();
  std::vector<Json> written = events(BatchContext{"EARLY_1", context});
  ASSERT_EQ(types(BatchContext{"EARLY_1", context}), (Types{"session", "batch", "screen", "aM"}));
  EXPECT_EQ(written[3]["d"]["cT"], "Cellular");
}

// An event the application sent reaches the stream once: a core built later (after consent went
// out and back) does not write the previous core's last event again, but one sent while no core
// existed is written by the next core.
TEST_F(RUMCoreTest, TrackedEventWrittenOnceAcrossCores) {
  makeCore();
  BatchContext first = showScreen("Home");
  trackedEvents_->sendGoal("bought", 3.0f);
  scheduler_->runUntilIdle();
  // As Core does on consent none: the feature goes, then the batch cycle stops.
  core_.reset();
  batches_->publish(std::nullopt);
  trackedEvents_->sendError("while away");
  scheduler_->runUntilIdle();
  makeCore();
  BatchContext second = showScreen("Basket");
  core_.reset();
  batches_->publish(std::nullopt);
  makeCore();
  BatchContext third = showScreen("Receipt");

  EXPECT_EQ(types(first), (Types{"session", "batch", "screen", "aM", "goal"}));
  EXPECT_EQ(types(second), (Types{"session", "batch", "screen", "aM", "applicationError"}));
  EXPECT_EQ(types(third), (Types{"session", "batch", "screen", "aM"}));
}

// Without a session, a new screen writes neither session nor batch, and goes on.
TEST_F(RUMCoreTest, NoSessionSkipsSessionAndBatch) {
  sessions_->publish(std::nullopt);
  makeCore();
  BatchContext batch = showScreen("Home");
  EXPECT_EQ(types(batch), (Types{"screen", "aM"}));
}

// Going away out of sample closes the open screen first, even when the core is removed before its
// queue has heard of the change (as Core does), and leaves no subscription behind.
TEST_F(RUMCoreTest, DestructionClosesScreenWhenOutOfSample) {
  struct Case {
    const char* name;
    std::function<void(SDKConfiguration&)> change;
    std::string experienceStatus;
  };
  const std::vector<Case> cases = {
      {"consent none", [](SDKConfiguration& c) { c.setConsent(Consent::none); }, "0"},
      {"retention false", [](SDKConfiguration& c) { c.setRetention(false); }, "2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    batches_->publish(std::nullopt);
    spool_.reopen();
    makeCore();
    BatchContext batch = showScreen("Home");
    const std::size_t delegatesBefore = CrashCoordinator::shared().delegateCount();
    c.change(*spool_.configuration());
    core_.reset();
    ASSERT_EQ(types(batch), (Types{"session", "batch", "screen", "aM", "samplingStatus", "aE", "bE"}));
    EXPECT_EQ(events(batch)[4]["d"]["experienceDataStatus"].dump(), c.experienceStatus);
    EXPECT_EQ(batches_->observerCount(), 0u);
    EXPECT_EQ(appCycle_->observerCount(), 0u);
    EXPECT_EQ(performance_->observerCount(), 0u);
    EXPECT_EQ(reachability_->observerCount(), 0u);
    EXPECT_EQ(CrashCoordinator::shared().delegateCount(), delegatesBefore - 1);
  }
}

// Going away in sample writes nothing more; the feature registers under "RUM".
TEST_F(RUMCoreTest, FeatureKeyAndQuietDestruction) {
  RUMDependencies dependencies;
  dependencies.configuration = spool_.configuration();
  dependencies.batchCoordinator = batches_;
  dependencies.sessions = sessions_;
  auto feature = RUMFeature::make(dependencies, spool_.dataController(), scheduler_);
  EXPECT_EQ(feature->key(), "RUM");
  scheduler_->runUntilIdle();
  BatchContext batch = showScreen("Home");
  feature.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(types(batch), (Types{"session", "batch", "screen", "aM"}));

  RUMDependencies missing;
  EXPECT_THROW(RUMCore::make(missing, spool_.dataController(), scheduler_), RUMCoreError);
  EXPECT_THROW(RUMCore::make(dependencies, nullptr, scheduler_), RUMCoreError);
}

}  // namespace
}  // namespace obx
