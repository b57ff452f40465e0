// The public entry points, the facade and the C API, each driven from the call to what it must leave
// behind: a field of Common, a value in the shared services, or what the host reads back. Each table
// runs against a fresh process-wide core on the manual scheduler.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "../store/store_test_support.h"
#include "core/c_delegate_adapter.h"
#include "core/core.h"
#include "lifecycle/screen_detector.h"
#include "obx/facade.h"
#include "obx/obx.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/view.h"
#include "obx/view_properties.h"
#include "session/session_life_cycle.h"
#include "session/tracked_events.h"
#include "session/user_masking.h"
#include "testing/log_capture.h"
#include "testing/test_core.h"

namespace obx {
namespace {

using Masks = std::vector<MaskAutomatic>;

class SilentDelegate : public OBXDelegate {
 public:
  void liveConfig(const LiveConfigurationMultiplatform&) override {}
  void performance(const PerformanceMultiplatform&) override {}
  void sampling(const SamplingMultiplatform&) override {}
};

class PublicEntryPointsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
  }
  void TearDown() override {
    Core::resetShared(nullptr);
    scheduler_->runUntilIdle();
    platform::setDefaultScheduler(nullptr);
  }

  // A fresh process-wide core. Its connection is down, so the configuration fetch never leaves and
  // falls back at once; it builds no feature, so what a call leaves is read in Common and in the
  // shared services.
  void freshCore() {
    Core::resetShared(nullptr);
    scheduler_->runUntilIdle();
    Core::resetShared(testing::makeCore(scheduler_, std::make_shared<testing::FakeReachability>(),
                                        testing::kAllFeatures, testing::noFeature));
  }

  static Configuration configuration(Consent consent, bool crash, bool mobile, bool manual, bool enhanced,
                                     bool network) {
    Configuration c("acc", "prop", consent, crash, mobile, manual, enhanced, network);
    c.endpoint = Endpoint::custom("https://collector.test", "https://portal.test/replay/");
    return c;
  }
  static obx_configuration cConfiguration(obx_consent consent, bool crash, bool mobile, bool manual, bool enhanced,
                                          bool network) {
    return obx_configuration{"acc",   "prop", consent, crash, mobile, manual, enhanced, network,
                             "https://collector.test", "https://portal.test/replay/", OBX_MAIN_QUEUE_SDK_THREAD};
  }

  bool initialized() { return Core::shared()->configuration() != nullptr; }
  Common common() {
    scheduler_->runUntilIdle();
    return Core::shared()->configuration()->common();
  }
  CommonDependencies dependencies() {
    scheduler_->runUntilIdle();
    return *Core::shared()->commonDependencies();
  }
  std::optional<TrackedEvent> lastTrackedEvent() { return dependencies().trackedEvents->event(); }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
};

// Each consent and each switch of the initializer, one at a time, reach Common as given through
// either entry point, with the configuration's own defaults (replay on, automatic mode), the native
// platform and the custom endpoint; the enhanced switch is the customer log level.
TEST_F(PublicEntryPointsTest, InitializerFillsCommon) {
  struct Row {
    Consent consent;
    obx_consent cConsent;
    bool crash, mobile, manual, enhanced, network;
  };
  const Row rows[] = {
      {Consent::analyticsAndRecording, OBX_CONSENT_ANALYTICS_AND_RECORDING, false, false, false, false, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, false, false, false, false, false},
      {Consent::none, OBX_CONSENT_NONE, false, false, false, false, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, true, false, false, false, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, false, true, false, false, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, false, false, true, false, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, false, false, false, true, false},
      {Consent::analytics, OBX_CONSENT_ANALYTICS, false, false, false, false, true},
  };
  for (bool throughC : {false, true}) {
    for (const Row& r : rows) {
      SCOPED_TRACE(std::string(throughC ? "C API, row " : "facade, row ") + std::to_string(&r - rows));
      freshCore();
      if (throughC) {
        const obx_configuration c = cConfiguration(r.cConsent, r.crash, r.mobile, r.manual, r.enhanced, r.network);
        obx_initialize(&c);
      } else {
        OBX::initialize(configuration(r.consent, r.crash, r.mobile, r.manual, r.enhanced, r.network));
      }
      ASSERT_TRUE(initialized());
      const Common started = common();
      EXPECT_EQ(started.account, "acc");
      EXPECT_EQ(started.property, "prop");
      EXPECT_EQ(started.userConsents, r.consent);
      EXPECT_EQ(started.crashReporterEnabled, r.crash);
      EXPECT_EQ(started.mobileDataEnable, r.mobile);
      EXPECT_EQ(started.manualScreenTracking, r.manual);
      EXPECT_EQ(started.logLevel, r.enhanced ? LogLevel::customer : LogLevel::public_);
      EXPECT_EQ(started.networkAnalytics, r.network);
      EXPECT_EQ(started.platform, Platform::native());
      EXPECT_TRUE(started.sessionReplayEnabled);
      EXPECT_EQ(started.sessionReplayMode, SessionReplayMode::automatic);
      EXPECT_EQ(started.endpoint, Endpoint::custom("https://collector.test", "https://portal.test/replay/"));
    }
  }

  // A C host's unknown consent refuses the start with a log line; without custom URLs the
  // production endpoint stays.
  freshCore();
  obx_configuration unknown = cConfiguration(static_cast<obx_consent>(3), false, false, false, false, false);
  obx_initialize(&unknown);
  EXPECT_FALSE(initialized());
  EXPECT_TRUE(logs_.contains("OmbrixOBX cannot initialize with an unknown consent 3", LogLevel::public_));
  freshCore();
  obx_configuration plain = cConfiguration(OBX_CONSENT_ANALYTICS, false, false, false, false, false);
  plain.custom_base_url = nullptr;
  plain.custom_relay_url = nullptr;
  obx_initialize(&plain);
  EXPECT_EQ(common().endpoint, Endpoint::production());

  // The fields a host sets after construction: every endpoint, every replay mode, replay off.
  const std::vector<Endpoint> endpoints = {Endpoint::production(), Endpoint::staging(), Endpoint::sigma(),
                                           Endpoint::omega(),      Endpoint::kappa(),   Endpoint::iota()};
  for (const Endpoint& endpoint : endpoints) {
    for (SessionReplayMode mode : {SessionReplayMode::hiFi, SessionReplayMode::loFi, SessionReplayMode::automatic}) {
      SCOPED_TRACE(toString(mode));
      freshCore();
      Configuration c = configuration(Consent::analytics, false, false, false, false, false);
      c.endpoint = endpoint;
      c.sessionReplayMode = mode;
      c.sessionReplayEnabled = false;
      OBX::initialize(c);
      const Common started = common();
      EXPECT_EQ(started.endpoint, endpoint);
      EXPECT_EQ(started.sessionReplayMode, mode);
      EXPECT_FALSE(started.sessionReplayEnabled);
    }
  }
}

// Each platform type arrives through either multiplatform initializer with its version and
// language, and a Flutter host gets manual screens and no replay switch of its own; the facade keeps
// the delegate given. A C host without a platform is the native one; the C initializer with a
// delegate answers with the live configuration stored at that moment, as JSON.
TEST_F(PublicEntryPointsTest, MultiplatformInitializerKeepsPlatformAndDelegate) {
  struct Row {
    obx_platform_type type;
    Platform expected;
  };
  const std::vector<Row> rows = {
      {OBX_PLATFORM_NATIVE, Platform{PlatformType::native, "1.0", "ObjC"}},
      {OBX_PLATFORM_FLUTTER, Platform{PlatformType::flutter, "3.1.0", "Dart"}},
      {OBX_PLATFORM_XAMARIN, Platform{PlatformType::xamarin, "17.2", "C#"}},
      {OBX_PLATFORM_REACT_NATIVE, Platform{PlatformType::reactNative, "0.72", "JavaScript"}},
  };
  const obx_configuration cRecording =
      cConfiguration(OBX_CONSENT_ANALYTICS_AND_RECORDING, false, true, false, false, false);
  for (bool throughC : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(throughC ? "C API " : "facade ") + row.expected.language);
      freshCore();
      if (throughC) {
        obx_platform platform{row.type, row.expected.version.c_str(), row.expected.language.c_str()};
        obx_initialize_multiplatform(&cRecording, &platform);
      } else {
        auto delegate = std::make_shared<SilentDelegate>();
        const LiveConfigurationMultiplatform live = OBX::initialize(
            configuration(Consent::analyticsAndRecording, false, true, false, false, false), row.expected, delegate);
        EXPECT_EQ(live.useLiveConfiguration, false);
        EXPECT_EQ(Core::shared()->delegate(), delegate);
        EXPECT_EQ(Core::shared()->configuration()->delegate(), delegate);
      }
      const Common started = common();
      const bool flutter = row.type == OBX_PLATFORM_FLUTTER;
      EXPECT_EQ(started.platform, row.expected);
      EXPECT_EQ(started.sessionReplayEnabled, !flutter);
      EXPECT_EQ(started.manualScreenTracking, flutter);
      EXPECT_EQ(started.userConsents, Consent::analyticsAndRecording);
    }
  }

  const obx_configuration c = cConfiguration(OBX_CONSENT_ANALYTICS, false, false, false, false, false);

  freshCore();
  obx_initialize_multiplatform(&c, nullptr);
  EXPECT_EQ(common().platform, Platform::native());

  freshCore();
  obx_platform flutter{OBX_PLATFORM_FLUTTER, "3.1.0", "Dart"};
  char* live = obx_initialize_multiplatform_with_delegate(&c, &flutter, nullptr);
  ASSERT_NE(live, nullptr);
  // The starts before found no server and cached the fallback record; this start answers with it.
  EXPECT_STREQ(live, R"({"useLiveConfiguration":false,"showLocalLogs":false,"allowLogs":false,)"
                     R"("keepVideoData":false,"enableAnalytics":true,"maxTimeFileSaved":1296000.0})");
  obx_string_free(live);
  EXPECT_EQ(common().platform, (Platform{PlatformType::flutter, "3.1.0", "Dart"}));
  EXPECT_EQ(Core::shared()->delegate(), CDelegateAdapter::shared());
}


// One call through either entry point, and where its effect must show.
struct SetterRow {
  std::string call;
  std::function<void()> facade;
  std::function<void()> c;
  std::function<void()> check;
};

// Every setter and send of the facade, and its C counterpart, in turn on one started SDK: each
// leaves its value in Common, in the shared services, or in the event handed to analytics.
TEST_F(PublicEntryPointsTest, SettersAndSendsReachTheirConsumers) {
  auto maskingIs = [this](Masks expected) { EXPECT_EQ(common().maskingAutomatic, expected); };
  auto eventIs = [this](TrackedEvent expected) {
    auto event = lastTrackedEvent();
    ASSERT_TRUE(event);
    EXPECT_EQ(*event, expected);
  };
  const auto labels = MaskAutomatic::labels, inputs = MaskAutomatic::inputs, images = MaskAutomatic::images,
             webViews = MaskAutomatic::webViews, all = MaskAutomatic::all;
  const obx_mask_automatic cLabels = OBX_MASK_LABELS, cInputs = OBX_MASK_INPUTS, cImages = OBX_MASK_IMAGES,
                           cWebViews = OBX_MASK_WEB_VIEWS, cAll = OBX_MASK_ALL;
  auto field = std::make_shared<platform::View>();
  setObxStringTag(*field, "email");

  std::vector<SetterRow> rows = {
      {"consent analytics", [] { OBX::setConsent(Consent::analytics); }, [] { obx_set_consent(OBX_CONSENT_ANALYTICS); },
       [&] { EXPECT_EQ(common().userConsents, Consent::analytics); }},
      {"consent none", [] { OBX::setConsent(Consent::none); }, [] { obx_set_consent(OBX_CONSENT_NONE); },
       [&] { EXPECT_EQ(common().userConsents, Consent::none); }},
      {"consent analytics and recording", [] { OBX::setConsent(Consent::analyticsAndRecording); },
       [] { obx_set_consent(OBX_CONSENT_ANALYTICS_AND_RECORDING); },
       [&] { EXPECT_EQ(common().userConsents, Consent::analyticsAndRecording); }},
      {"masking color", [] { OBX::setMaskingColor(Color{0.25, 0.5, 0.75, 0.5}); },
       [] { obx_set_masking_color(0.25, 0.5, 0.75, 0.5); },
       [&] { EXPECT_EQ(common().maskingColor, (Color{0.25, 0.5, 0.75, 0.5})); }},
      {"enable labels", [=] { OBX::enableAutoMasking({labels}); }, [=] { obx_enable_auto_masking(&cLabels, 1); },
       [=] { maskingIs({webViews, inputs, labels}); }},
      {"enable images and inputs", [=] { OBX::enableAutoMasking({images, inputs}); },
       [=] {
         const obx_mask_automatic list[] = {cImages, cInputs};
         obx_enable_auto_masking(list, 2);
       },
       [=] { maskingIs({webViews, inputs, labels, images}); }},
      {"disable inputs and web views", [=] { OBX::disableAutoMasking({inputs, webViews}); },
       [=] {
         const obx_mask_automatic list[] = {cInputs, cWebViews};
         obx_disable_auto_masking(list, 2);
       },
       [=] { maskingIs({labels, images}); }},
      {"enable all", [=] { OBX::enableAutoMasking({all}); }, [=] { obx_enable_auto_masking(&cAll, 1); },
       [=] { maskingIs({images, inputs, labels, webViews}); }},
      {"disable all", [=] { OBX::disableAutoMasking({all}); }, [=] { obx_disable_auto_masking(&cAll, 1); },
       [=] { maskingIs({}); }},
      {"enable web views", [=] { OBX::enableAutoMasking({webViews}); }, [=] { obx_enable_auto_masking(&cWebViews, 1); },
       [=] { maskingIs({webViews}); }},
      {"URL parameters off", [] { OBX::captureURLParameters(false); }, [] { obx_capture_url_parameters(false); },
       [&] { EXPECT_FALSE(common().captureURLParameters); }},
      {"URL parameters on", [] { OBX::captureURLParameters(true); }, [] { obx_capture_url_parameters(true); },
       [&] { EXPECT_TRUE(common().captureURLParameters); }},
      {"mobile data off", [] { OBX::setMobileDataEnable(false); }, [] { obx_set_mobile_data_enable(false); },
       [&] {
         EXPECT_FALSE(common().mobileDataEnable);
         EXPECT_FALSE(OBX::mobileDataEnable());
         EXPECT_FALSE(obx_mobile_data_enable());
       }},
      {"mobile data on", [] { OBX::setMobileDataEnable(true); }, [] { obx_set_mobile_data_enable(true); },
       [&] {
         EXPECT_TRUE(common().mobileDataEnable);
         EXPECT_TRUE(OBX::mobileDataEnable());
         EXPECT_TRUE(obx_mobile_data_enable());
       }},
      {"masks for the screen", [=] { OBX::setMaskingForCurrentScreen({labels, images}); },
       [=] {
         const obx_mask_automatic list[] = {cLabels, cImages};
         obx_set_masking_for_current_screen(list, 2);
       },
       [&] { EXPECT_EQ(dependencies().userMasking->automaticMasksInScreen(), (Masks{labels, images})); }},
      {"goal", [] { OBX::sendGoal("bought"); }, [] { obx_send_goal("bought"); },
       [=] { eventIs({EventType::goal, Goal{"bought", "", 0.0f}}); }},
      {"goal with value", [] { OBX::sendGoal("bought", 4.5f); }, [] { obx_send_goal_value("bought", 4.5f); },
       [=] { eventIs({EventType::goal, Goal{"bought", "", 4.5f}}); }},
      {"text dimension", [] { OBX::sendDimension("plan", std::string("gold")); },
       [] { obx_send_dimension_string("plan", "gold"); },
       [=] { eventIs({EventType::dimension, CustomDimension("plan", std::string("gold"))}); }},
      {"Bool dimension", [] { OBX::sendDimension("trial", true); }, [] { obx_send_dimension_bool("trial", true); },
       [=] { eventIs({EventType::dimension, CustomDimension("trial", true)}); }},
      {"number dimension", [] { OBX::sendDimension("seats", 3.5); }, [] { obx_send_dimension_double("seats", 3.5); },
       [=] { eventIs({EventType::dimension, CustomDimension("seats", 3.5)}); }},
      {"error", [] { OBX::sendError("disk full"); }, [] { obx_send_error("disk full"); },
       [=] { eventIs({EventType::appError, AppError{"disk full"}}); }},
      {"HTTP error", [] { OBX::sendHTTPError(503); }, [] { obx_send_http_error(503); },
       [=] { eventIs({EventType::httpError, HTTPError{"503"}}); }},
      {"form success", [] { OBX::formSuccess(); }, [] { obx_form_success(); },
       [=] { eventIs({EventType::formSuccess, FormSuccess{true, std::nullopt, std::nullopt}}); }},
      {"form error", [] { OBX::formError("bad"); }, [] { obx_form_error("bad"); },
       [=, this] {
         eventIs({EventType::formSuccess, FormSuccess{false, "bad", std::nullopt}});
         EXPECT_TRUE(logs_.contains("Save\u00A0an error in the form", LogLevel::customer));
       }},
      {"form error at a field", [=] { OBX::formError("bad", field.get()); },
       [] { obx_form_error_selector("bad", "email"); },
       [=] { eventIs({EventType::formSuccess, FormSuccess{false, "bad", "email"}}); }},
      {"start a screen", [] { OBX::startNewScreen("Basket", true); }, [] { obx_start_new_screen("Basket", true); },
       [&] {
         auto detector = dependencies().screenDetector;
         EXPECT_EQ(detector->currentScreenName(), "Basket");
         auto screen = detector->screenDetected();
         ASSERT_TRUE(screen);
         EXPECT_EQ(screen->name, "Basket");
         EXPECT_TRUE(screen->discardRecording);
       }},
      {"stop the screen", [] { OBX::stopScreen(); }, [] { obx_stop_screen(); },
       [&] {
         EXPECT_FALSE(dependencies().screenDetector->currentScreenName());
         EXPECT_FALSE(dependencies().screenDetector->screenDetected());
       }},
      {"retention on", [] { OBX::setRetention(true); }, [] { obx_set_retention(true); },
       [&] {
         const Common now = common();
         EXPECT_EQ(now.userSessionCookieFlag, true);
         EXPECT_EQ(now.userReplaySessionFlag, true);
         EXPECT_FALSE(now.userAnalysisSessionFlag);
         EXPECT_TRUE(now.isUserRetention);
       }},
  };
  for (int raw = 0; raw <= 4; ++raw) {
    const auto quality = *imageQualityTypeFromRaw(raw);
    rows.push_back({"image quality " + toString(quality), [=] { OBX::setImageQuality(quality); },
                    [=] { obx_set_image_quality(raw); }, [this, quality] { EXPECT_EQ(common().imageQualityType, quality); }});
  }

  for (bool throughC : {false, true}) {
    SCOPED_TRACE(throughC ? "C API" : "facade");
    freshCore();
    if (throughC) {
      const obx_configuration c = cConfiguration(OBX_CONSENT_ANALYTICS_AND_RECORDING, false, true, true, false, false);
      obx_initialize(&c);
    } else {
      OBX::initialize(configuration(Consent::analyticsAndRecording, false, true, true, false, false));
    }
    ASSERT_TRUE(initialized());
    for (const SetterRow& row : rows) {
      SCOPED_TRACE(row.call);
      (throughC ? row.c : row.facade)();
      row.check();
    }
  }
}

// Retention off, through either entry point, takes the session and its replay out; once set, a
// second call changes nothing.
TEST_F(PublicEntryPointsTest, RetentionOffAndOncePerSession) {
  for (bool throughC : {false, true}) {
    SCOPED_TRACE(throughC ? "C API" : "facade");
    freshCore();
    OBX::initialize(configuration(Consent::analyticsAndRecording, false, true, false, false, false));
    throughC ? obx_set_retention(false) : OBX::setRetention(false);
    Common now = common();
    EXPECT_EQ(now.userSessionCookieFlag, false);
    EXPECT_EQ(now.userReplaySessionFlag, false);
    EXPECT_TRUE(now.isUserRetention);
    throughC ? obx_set_retention(true) : OBX::setRetention(true);
    EXPECT_EQ(common().userSessionCookieFlag, false);
    EXPECT_TRUE(logs_.contains("User retention is already set for this session", LogLevel::qa));
  }
}

// A C host's values outside an enumeration are logged and change nothing; the valid entries of a
// list still apply.
TEST_F(PublicEntryPointsTest, CValuesOutsideTheEnumerationsAreIgnored) {
  freshCore();
  const obx_configuration c = cConfiguration(OBX_CONSENT_ANALYTICS, false, true, false, false, false);
  obx_initialize(&c);
  obx_set_image_quality(4);  // ultra, so that a value read as another quality shows
  obx_set_consent(static_cast<obx_consent>(5));
  obx_set_image_quality(5);
  obx_set_image_quality(-1);
  const obx_mask_automatic list[] = {OBX_MASK_LABELS, static_cast<obx_mask_automatic>(9)};
  obx_enable_auto_masking(list, 2);
  const Common now = common();
  EXPECT_EQ(now.userConsents, Consent::analytics);
  EXPECT_EQ(now.imageQualityType, ImageQualityType::ultra);
  EXPECT_EQ(now.maskingAutomatic, (Masks{MaskAutomatic::webViews, MaskAutomatic::inputs, MaskAutomatic::labels}));
  EXPECT_TRUE(logs_.contains("Ignored unknown consent 5", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("Ignored unknown image quality 5", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("Ignored unknown image quality -1", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("Ignored unknown masking category 9", LogLevel::customer));
}

// What a host reads back: the session's public ID, the web view's parameters and the session link,
// the same through the facade and the C API.
TEST_F(PublicEntryPointsTest, ReadersGiveTheSessionValues) {
  freshCore();
  OBX::initialize(configuration(Consent::analyticsAndRecording, false, true, false, false, false));
  const auto session = dependencies().sessionCycle->sessionContext();
  ASSERT_TRUE(session);
  const auto publicID = SessionLifeCycle::publicSessionID(session->sessionID);
  ASSERT_TRUE(publicID);

  EXPECT_EQ(OBX::sessionId(), publicID);
  char* cID = obx_session_id();
  ASSERT_NE(cID, nullptr);
  EXPECT_EQ(cID, *publicID);
  obx_string_free(cID);

  std::string sessionPart = session->sessionID.substr(0, session->sessionID.find('|'));
  std::erase_if(sessionPart, [](char ch) { return ch == '+' || ch == '-'; });
  // The fetch fell back, so the configuration is finished; no flag from the server reads as 0.
  const std::string properties =
      "qv_sid=" + sessionPart + "&qv_lid=" + session->leadID + "&qv_from_native=1&qv_in_sample=0";
  EXPECT_EQ(OBX::webViewProperties(), properties);
  char* cProperties = obx_web_view_properties();
  ASSERT_NE(cProperties, nullptr);
  EXPECT_EQ(cProperties, properties);
  obx_string_free(cProperties);

  const std::string link = "https://portal.test/replay/sg-prop-" + *publicID;
  std::vector<std::optional<std::string>> told;
  OBX::setSessionURL([&](const std::optional<std::string>& url) { told.push_back(url); });
  EXPECT_EQ(told, (std::vector<std::optional<std::string>>{link}));
  char* cLink = obx_session_url();
  ASSERT_NE(cLink, nullptr);
  EXPECT_EQ(cLink, link);
  obx_string_free(cLink);
  OBX::setSessionURL(nullptr);
}

}  // namespace
}  // namespace obx
