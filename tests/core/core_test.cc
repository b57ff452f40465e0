// Core's start-up and its one configuration observer, on the manual scheduler with fake features
// that record when they are built and destroyed.
#include "core/core.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <unistd.h>

#include "config/build_settings.h"
#include "config/bundle_versions.h"
#include "config/session_configuration.h"
#include "session/metrics.h"
#include "session/tracked_events.h"
#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "session/user_masking.h"
#include "store/cache_controller.h"
#include "testing/log_capture.h"
#include "testing/test_core.h"

namespace obx {
namespace {

using Journal = std::vector<std::string>;

class RecordingFeature : public Feature {
 public:
  RecordingFeature(std::string key, std::shared_ptr<Journal> journal) : key_(std::move(key)), journal_(journal) {
    journal_->push_back("+" + key_);
  }
  ~RecordingFeature() override { journal_->push_back("-" + key_); }
  std::string key() const override { return key_; }

 private:
  std::string key_;
  std::shared_ptr<Journal> journal_;
};

class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = std::filesystem::temp_directory_path() / ("obx-core-" + std::to_string(::getpid()));
    std::filesystem::remove_all(root_);
    platform::setSandboxRoot(root_);
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    core_ = testing::makeCore(scheduler_, nullptr, testing::kAllFeatures, [this](const std::string& key) {
      if (key == FeatureKey::kRUM && rumFails_) throw std::runtime_error("boom");
      return std::make_shared<RecordingFeature>(key, journal_);
    });
  }
  void TearDown() override {
    core_.reset();
    scheduler_->runUntilIdle();
    platform::setDefaultScheduler(nullptr);
    std::filesystem::remove_all(root_);
  }

  Configuration configuration(Consent consent = Consent::analyticsAndRecording) {
    Configuration c("acc", "prop", consent, true, true, false, false, true);
    // No URL: the fetch never goes out, and each test plays the server's part itself.
    c.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
    return c;
  }
  void start(Consent consent = Consent::analyticsAndRecording, Platform platform = Platform::native()) {
    core_->initialize(configuration(consent), platform);
    scheduler_->runUntilIdle();
  }
  Journal take() {
    Journal out = *journal_;
    journal_->clear();
    return out;
  }
  void serverSends(const std::string& document) {
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded) << document;
    core_->configuration()->updateLiveConfiguration(*decoded);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::filesystem::path root_;
  testing::LogCapture logs_;
  std::shared_ptr<Journal> journal_ = std::make_shared<Journal>();
  bool rumFails_ = false;
  std::shared_ptr<Core> core_;
};

// Features exist only after initialize has returned and the observer ran, registered in order;
// consent none removes them in its order and keeps Upload; consent back brings them back.
TEST_F(CoreTest, RegisterAndConsentOrders) {
  core_->initialize(configuration(), Platform::native());
  EXPECT_TRUE(journal_->empty());
  EXPECT_TRUE(logs_.contains("OmbrixOBX initialized", LogLevel::public_));
  scheduler_->runUntilIdle();
  EXPECT_EQ(take(), (Journal{"+Upload", "+Network", "+CrashReport", "+RUM", "+SVR"}));
  EXPECT_TRUE(logs_.contains("OmbrixOBX configuration updated", LogLevel::developer));

  core_->setConsent(Consent::none);
  scheduler_->runUntilIdle();
  EXPECT_EQ(take(), (Journal{"-RUM", "-CrashReport", "-SVR", "-Network"}));
  EXPECT_EQ(core_->registeredFeatures(), (std::vector<std::string>{"Upload"}));
  EXPECT_TRUE(core_->commonDependencies().has_value());
  EXPECT_TRUE(logs_.contains("Set consent to none", LogLevel::customer));

  core_->setConsent(Consent::analytics);
  scheduler_->runUntilIdle();
  EXPECT_EQ(take(), (Journal{"+Network", "+CrashReport", "+RUM"})) << "no replay under consent analytics";
}

// A Flutter host may record under consent analytics; a native one may not.
TEST_F(CoreTest, FlutterRecordsUnderAnalyticsConsent) {
  start(Consent::analytics, Platform{PlatformType::flutter, "3.1", "Dart"});
  Journal journal = take();
  EXPECT_NE(std::find(journal.begin(), journal.end(), "+SVR"), journal.end());
  EXPECT_TRUE(core_->configuration()->common().manualScreenTracking);
  EXPECT_FALSE(core_->configuration()->common().sessionReplayEnabled);
}

// A blocked application version stops everything in its order and drops the dependencies. An
// application that calls initialize again at every foreground, even with another account and
// platform, changes nothing: the repeats rebuild nothing and subscribe nothing, so each later
// publication is decided once, and a document that lifts the block starts the features once.
TEST_F(CoreTest, BlockedVersionStopsRepeatsChangeNothingAndUnblockRebuilds) {
  start();
  take();
  serverSends(R"({"vc_blockediOSAppVersions": ["1.0.0"]})");
  EXPECT_EQ(take(), (Journal{"-CrashReport", "-RUM", "-SVR", "-Upload", "-Network"}));
  EXPECT_FALSE(core_->commonDependencies().has_value());
  EXPECT_TRUE(logs_.contains("This version of the app has been blocked", LogLevel::public_));
  EXPECT_FALSE(core_->sessionId().has_value());

  Configuration other("other", "prop2", Consent::none, false, false, false, false, false);
  for (int i = 0; i < 3; ++i) core_->initialize(other, Platform{PlatformType::flutter, "1", "Dart"});
  scheduler_->runUntilIdle();
  EXPECT_FALSE(core_->commonDependencies().has_value());
  EXPECT_EQ(logs_.count("OmbrixSDK is already initialized"), 3u);
  EXPECT_TRUE(logs_.contains("OmbrixSDK is already initialized", LogLevel::public_));
  EXPECT_EQ(logs_.count("OmbrixOBX initializing . . ."), 1u);
  EXPECT_EQ(core_->configuration()->common().account, "acc");
  EXPECT_EQ(core_->configuration()->common().platform.type, PlatformType::native);

  const std::size_t blockedBefore = logs_.count("This version of the app has been blocked");
  core_->configuration()->publish();
  scheduler_->runUntilIdle();
  EXPECT_EQ(logs_.count("This version of the app has been blocked"), blockedBefore + 1);

  serverSends(R"({"vc_blockediOSAppVersions": ["0.9.0"]})");
  EXPECT_TRUE(core_->commonDependencies().has_value());
  EXPECT_EQ(take(), (Journal{"+Upload", "+Network", "+CrashReport", "+RUM", "+SVR"}));
}

// Each blocked list, in the order tested, with the platform rules for the framework lists.
TEST_F(CoreTest, BlockedListsTable) {
  struct Case {
    const char* document;
    Platform platform;
    const char* message;  // null: not blocked
  } cases[] = {
      {R"({"vc_blockediOSSDKVersions": ["%SDK%"]})", Platform::native(), "This version of the SDK has been blocked"},
      {R"({"vc_blockedFlutterAppVersions": ["1.0.0"]})", Platform::native(), "This version of the app has been blocked"},
      {R"({"vc_blockedFlutterSDKVersions": ["3.1"]})", Platform::native(), nullptr},
      {R"({"vc_blockedFlutterSDKVersions": ["3.1"]})", Platform{PlatformType::flutter, "3.1", "Dart"},
       "This version of the SDK has been blocked"},
      {R"({"vc_blockedReactNativeAppVersions": ["1.0.0"]})", Platform::native(),
       "This version of the app has been blocked"},
      {R"({"vc_blockedReactNativeSDKVersions": ["0.7"]})", Platform{PlatformType::reactNative, "0.7", "JS"},
       "This version of the SDK has been blocked"},
      {R"({"vc_blockediOSAppVersions": ["1.0"]})", Platform::native(), nullptr},
  };
  for (const auto& c : cases) {
    std::string document = c.document;
    if (auto at = document.find("%SDK%"); at != std::string::npos) document.replace(at, 5, *Core::sdkVersion());
    Common common;
    common.platform = c.platform;
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded);
    LiveConfiguration live = decoded->toLiveConfiguration();
    common.sdkVersionsBlocked = live.sdkVersionsBlocked;
    common.appVersionsBlocked = live.appVersionsBlocked;
    common.blockedFlutterAppVersions = live.blockedFlutterAppVersions;
    common.blockedFlutterSDKVersions = live.blockedFlutterSDKVersions;
    common.blockedRNAppVersions = live.blockedRNAppVersions;
    common.blockedRNSDKVersions = live.blockedRNSDKVersions;
    logs_.clear();
    core_->onConfigurationChanged(common);
    if (c.message) {
      EXPECT_TRUE(logs_.contains(c.message, LogLevel::public_)) << document;
    } else {
      EXPECT_TRUE(logs_.contains("OmbrixOBX version is not blocked")) << document;
    }
  }
}

// A blocked version found in the cached document stops the SDK before any answer of the server.
TEST_F(CoreTest, CachedBlockedVersionStopsBeforeTheFetch) {
  LiveConfiguration cached;
  cached.appVersionsBlocked = StringList{"1.0.0"};
  std::string text = encodeLiveConfiguration(cached);
  CacheController::make(core_->readWriteQueue())->save("config", std::vector<std::uint8_t>(text.begin(), text.end()));
  scheduler_->runUntilIdle();
  start();
  EXPECT_TRUE(take().empty());
  EXPECT_FALSE(core_->commonDependencies().has_value());
  EXPECT_FALSE(core_->configuration()->common().isLiveConfigFinished);
}

// Sampled out by the server: Upload is the one feature left.
TEST_F(CoreTest, SampledOutKeepsOnlyUpload) {
  start();
  take();
  serverSends(R"({"qv_sessCookieFlags": 2})");
  EXPECT_EQ(take(), (Journal{"-RUM", "-CrashReport", "-SVR", "-Network"}));
  EXPECT_EQ(core_->registeredFeatures(), (std::vector<std::string>{"Upload"}));
}

// A RUM core that fails to build logs its error and skips the steps after it.
TEST_F(CoreTest, RUMFailureSkipsTheRest) {
  rumFails_ = true;
  start();
  EXPECT_EQ(take(), (Journal{"+Upload", "+Network", "+CrashReport"}));
  EXPECT_TRUE(logs_.contains("Error register features: boom", LogLevel::developer));
  EXPECT_FALSE(logs_.contains("OmbrixOBX configuration updated"));
}

// Two threads calling initialize at once build one configuration and one set of services.
TEST(CoreStartUp, ConcurrentInitializeRunsOnce) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  const auto root = std::filesystem::temp_directory_path() / ("obx-core-race-" + std::to_string(::getpid()));
  std::filesystem::remove_all(root);
  platform::setSandboxRoot(root);
  platform::setDefaultScheduler(scheduler);
  platform::Application::resetShared(scheduler);
  testing::LogCapture logs;
  {
    auto core = testing::makeCore(scheduler, std::make_shared<testing::FakeReachability>(), testing::kAllFeatures,
                                  testing::noFeature);
    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, true, true, false, false, true);
    configuration.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
    std::atomic<bool> go{false};
    std::atomic<int> finished{0};
    for (int i = 0; i < 2; ++i) {
      platform::DispatchQueue::makeSerial(scheduler, "test.host." + std::to_string(i))->async([&] {
        while (!go.load()) {
        }
        core->initialize(configuration, Platform::native());
        ++finished;
      });
    }
    go.store(true);
    ASSERT_TRUE(scheduler->runMainLoop([&] { return finished.load() == 2; }, 30.0));
    EXPECT_EQ(logs.count("OmbrixOBX initializing . . ."), 1u);
    EXPECT_EQ(logs.count("OmbrixSDK is already initialized"), 1u);
    EXPECT_TRUE(core->commonDependencies().has_value());
  }
  scheduler->runMainLoop([] { return false; }, 0.2);
  platform::setDefaultScheduler(nullptr);
  std::filesystem::remove_all(root);
}

// The SDK's own bundle carries the version the SDK was built as, so the "aM" records name it; a
// version the bundle already holds is kept.
TEST_F(CoreTest, MetricsCarryTheSDKVersion) {
  start();
  ASSERT_TRUE(core_->commonDependencies().has_value());
  EXPECT_EQ(core_->commonDependencies()->metrics->version(), build::kSDKVersion);
  EXPECT_NE(std::string(build::kSDKVersion), "unknown");
  platform::BundleInfo::sdk().setObject("Ombrix OBX Version", "7.7.7");
  registerSDKBundleVersion();
  EXPECT_EQ(core_->commonDependencies()->metrics->version(), "7.7.7");
  platform::BundleInfo::sdk().setObject("Ombrix OBX Version", std::nullopt);
}

// The facade's goal call takes a float, a double or an integer literal as the goal's value, and a
// dimension has its own call: neither is taken for the other.
TEST(Facade, GoalAndDimensionSpellings) {
  testing::LogCapture logs;
  OBX::sendGoal("float goal", 4.5f);
  OBX::sendGoal("double goal", 4.5);
  OBX::sendGoal("integer goal", 4);
  OBX::sendGoal("plain goal");
  OBX::sendDimension("number", 4.5);
  OBX::sendDimension("flag", true);
  OBX::sendDimension("text", "gold");
  EXPECT_EQ(logs.messages(), (std::vector<std::string>{"Save goal float goal", "Save goal double goal",
                                                       "Save goal integer goal", "Save goal plain goal",
                                                       "Save Custom Dimension number", "Save Custom Dimension flag",
                                                       "Save Custom Dimension text"}));
}

// Before initialize every operation is harmless: sends only log, manual screens are refused,
// the mobile data switch is remembered, identifiers are absent.
TEST_F(CoreTest, HarmlessBeforeInitialize) {
  core_->sendGoal("g", 1.0f);
  core_->sendError("bad");
  core_->formSuccess();
  core_->startNewScreen("Home", false);
  core_->setConsent(Consent::none);
  core_->setMobileDataEnable(false);
  scheduler_->runUntilIdle();
  EXPECT_TRUE(logs_.contains("Save goal g", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("Save App Error: bad", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("Save the\u00A0correct submission of the form", LogLevel::customer));
  EXPECT_TRUE(logs_.contains(
      "Start screen manually is not allowed, set manualScreenTracking 'true' on the initialize method",
      LogLevel::developer));
  EXPECT_FALSE(core_->mobileDataEnable());
  EXPECT_FALSE(core_->sessionId());
  EXPECT_FALSE(core_->webViewProperties());
  EXPECT_TRUE(journal_->empty());
}

// The session URL callback waits for a finished configuration, then is called once by the observer;
// set afterwards it is called at once. The web properties carry the sampling flag once finished.
TEST_F(CoreTest, SessionURLAndWebViewProperties) {
  std::vector<std::optional<std::string>> calls;
  core_->setSessionURLCallback([&](const std::optional<std::string>& url) { calls.push_back(url); });
  start();
  EXPECT_TRUE(calls.empty());
  auto id = core_->sessionId();
  ASSERT_TRUE(id);
  EXPECT_EQ(id->find('-'), std::string::npos);
  std::string properties = *core_->webViewProperties();
  EXPECT_EQ(properties.find("qv_in_sample"), std::string::npos);
  EXPECT_EQ(properties.rfind("qv_sid=" + *id + "&qv_lid=", 0), 0u) << properties;

  serverSends("{}");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0], "https://portal.test/replay/sg-prop-" + *id);
  serverSends("{}");
  EXPECT_EQ(calls.size(), 1u);
  EXPECT_NE(core_->webViewProperties()->find("&qv_from_native=1&qv_in_sample=0"), std::string::npos);

  std::optional<std::string> late;
  core_->setSessionURLCallback([&](const std::optional<std::string>& url) { late = url; });
  EXPECT_EQ(late, calls[0]);
}

// Categories asked for the current screen before start-up are dropped; after it they reach the
// shared UserMasking that replay reads.
TEST_F(CoreTest, MaskingForCurrentScreenReachesUserMasking) {
  core_->setMaskingForCurrentScreen({MaskAutomatic::labels});
  core_->initialize(configuration(), Platform::native());
  scheduler_->runUntilIdle();
  auto dependencies = core_->commonDependencies();
  ASSERT_TRUE(dependencies && dependencies->userMasking);
  EXPECT_TRUE(dependencies->userMasking->automaticMasksInScreen().empty());
  core_->setMaskingForCurrentScreen({MaskAutomatic::images});
  EXPECT_EQ(dependencies->userMasking->automaticMasksInScreen(), std::vector<MaskAutomatic>{MaskAutomatic::images});
}

}  // namespace
}  // namespace obx
