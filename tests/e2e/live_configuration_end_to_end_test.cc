// The collector's configuration document steers a running SDK: sampling, blocked versions, the
// cached document of an earlier run, and the sampling records that reach the server.
#include <algorithm>

#include "base/logger.h"
#include "e2e_fixture.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"
#include "testing/host_server.h"
#include "testing/log_capture.h"

namespace obx::e2e {
namespace {

class HomeScreen : public platform::ViewController {};
class OtherScreen : public platform::ViewController {};

class LiveConfigurationEndToEndTest : public EndToEndTest {
 protected:
  void serve(const std::string& document) { collector_->setConfiguration(kAccount, kProperty, document); }

  void showHome() {
    navigation_ = platform::NavigationController::make(std::make_shared<HomeScreen>());
    window_ = std::make_shared<platform::Window>();
    window_->setRootViewController(navigation_);
    window_->makeKeyAndVisible();
  }

  void toBackground() {
    auto application = platform::Application::shared();
    application->resignActive();
    application->enterBackground();
  }

  bool configurationFinished() {
    auto configuration = core_ ? core_->configuration() : nullptr;
    return configuration && configuration->common().isLiveConfigFinished;
  }

  // Ends this run of the SDK; the sandbox, with its cache and spool, stays for the next one.
  void endRun() {
    core_.reset();
    pump(0.3);
  }

  const Json* firstEvent(const collector::Collector::ReceivedScreen& screen, const std::string& type) {
    for (const auto& event : screen.body) {
      if (event.at("t") == type) return &event;
    }
    return nullptr;
  }

  testing::LogCapture logs_;
  std::shared_ptr<platform::NavigationController> navigation_;
  std::shared_ptr<platform::Window> window_;
};

// Sampled out by the server: "Upload" alone stays, what was stored before still leaves, and
// nothing more is written however the user goes on.
TEST_F(LiveConfigurationEndToEndTest, SampledOutKeepsUploadAloneAndStoredScreensLeave) {
  startCollector();
  serve(R"({"qv_experienceDataSampleMethod": 0, "qv_sessCookieFlags": 2})");
  upload_testing::ScreenWriter(previousRunStore()).write("OLD_20260101000000", scheduler_->clock().now() - 60.0);
  startSDK();
  showHome();
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 10.0));
  pump(0.5);
  EXPECT_EQ(core_->registeredFeatures(), std::vector<std::string>{"Upload"});

  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 20.0));
  const auto accepted = collector_->statistics().accepted;
  EXPECT_GE(accepted, 1u);
  bool old = false;
  for (const auto& screen : collector_->screens()) old = old || screen.asset == "OLD_20260101000000.zip";
  EXPECT_TRUE(old);

  navigation_->pushViewController(std::make_shared<OtherScreen>(), true);
  core_->sendGoal("after sampling", 1.0f);
  pump(6.0);
  EXPECT_TRUE(spooledBatches().empty());
  EXPECT_EQ(collector_->statistics().accepted, accepted);
}

// A blocked application version learnt in one run stops the next run from its cached document,
// before any answer of the server.
TEST_F(LiveConfigurationEndToEndTest, BlockedVersionInTheCacheStopsTheNextRunAtOnce) {
  startCollector();
  serve(R"({"vc_blockediOSAppVersions": ["1.0.0"]})");
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 10.0));
  pump(0.5);
  EXPECT_TRUE(core_->registeredFeatures().empty());
  endRun();

  logs_.clear();
  core_ = testing::makeCore(scheduler_, reachability_);
  Configuration offline = configuration();
  offline.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");  // the fetch never answers
  core_->initialize(offline, Platform::native());
  pump(1.0);
  EXPECT_TRUE(logs_.contains("This version of the app has been blocked", LogLevel::public_));
  EXPECT_TRUE(core_->registeredFeatures().empty());
  EXPECT_FALSE(configurationFinished());
  EXPECT_FALSE(core_->commonDependencies().has_value());
}

// With no answer from the server and nothing cached, the defaults steer and the configuration is
// finished: uploads may start.
TEST_F(LiveConfigurationEndToEndTest, NoAnswerAndNoCacheGivesTheDefaults) {
  startCollector();
  core_ = testing::makeCore(scheduler_, reachability_);
  Configuration unreachable = configuration();
  const testing::ClosedPort closed;
  const std::string host = closed.base();
  unreachable.endpoint = Endpoint::custom(host, host + "/replay/");
  core_->initialize(unreachable, Platform::native());
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 30.0));
  const Common common = core_->configuration()->common();
  EXPECT_EQ(common.sessionLength, 1800);
  EXPECT_EQ(common.batchTime, 5.0);
  EXPECT_FALSE(common.experienceDataSampleMethod.has_value());
  pump(0.5);
  const auto features = core_->registeredFeatures();
  EXPECT_NE(std::find(features.begin(), features.end(), "RUM"), features.end());
  EXPECT_NE(std::find(features.begin(), features.end(), "Upload"), features.end());
}

// A document with a flag value outside its range is refused whole: the cached document of the
// earlier run steers instead.
TEST_F(LiveConfigurationEndToEndTest, UnknownFlagValueFallsBackToTheCache) {
  startCollector();
  serve(R"({"qv_sessionTimeout": 45, "vs_videoQuality": 3})");
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 10.0));
  EXPECT_EQ(core_->configuration()->common().sessionLength, 2700);
  endRun();

  serve(R"({"qv_sessionTimeout": 10, "qv_sessCookieFlags": 9})");
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 10.0));
  const Common common = core_->configuration()->common();
  EXPECT_EQ(common.sessionLength, 2700);
  EXPECT_FALSE(common.sessionCookieFlags.has_value());
}

// Under weighted sampling the screen's records reach the server with the values the document
// implies, and the upload carries the weighted decision in its query.
TEST_F(LiveConfigurationEndToEndTest, SamplingRecordsArriveWithTheDocumentsValues) {
  startCollector();
  serve(R"({"qv_experienceDataSampleMethod": 1, "qv_sessCookieFlags": 4, "analysisSessFlags": 2,
            "replaySessFlags": 1, "replayLeadFlags": 3})");
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return configurationFinished(); }, 10.0));
  showHome();
  pump(2.0);
  toBackground();
  ASSERT_TRUE(pumpUntil([&] { return collector_->statistics().accepted >= 1 && spooledBatches().empty(); }, 20.0));

  const auto screens = collector_->screens();
  ASSERT_FALSE(screens.empty());
  const auto& screen = screens.back();
  const Json* sampling = firstEvent(screen, "samplingStatus");
  ASSERT_NE(sampling, nullptr);
  // Weighted with no user flag: the record says in for experience and session analysis whatever the
  // server's flags; replay takes the greater of appInSample and collectionInSample, which is in.
  EXPECT_EQ((*sampling)["d"], Json::parse(R"({"experienceDataStatus":1,"analysisDataStatusSession":1,
                                              "replayDataStatus":1})"));
  const Json* weighted = firstEvent(screen, "weightedSampling");
  ASSERT_NE(weighted, nullptr);
  // The session flag collectionOutSample makes the experience status 2: the weighted decision is out,
  // though collection goes on under the weighted method.
  EXPECT_EQ((*weighted)["d"], Json::parse(R"({"video":false,"data":false,"sampling":"weighted"})"));
  EXPECT_EQ(screen.jspsf, std::optional<bool>(false));
}

}  // namespace
}  // namespace obx::e2e
