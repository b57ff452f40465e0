// The C API's delegate: the callback table a C host installs, fed by the SDK's OBXDelegate calls.
#include "obx/obx.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "../store/store_test_support.h"
#include "config/session_configuration.h"
#include "core/c_delegate_adapter.h"
#include "core/core.h"
#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "testing/log_capture.h"
#include "testing/test_core.h"

namespace obx {
namespace {

// What a C host's callbacks saw, in order.
struct HostRecord {
  std::vector<std::string> liveConfigs;
  std::vector<std::pair<bool, bool>> samplings;
  std::vector<std::vector<int>> stressed;
  std::vector<obx_performance_multiplatform> performances;
};

extern "C" void recordLiveConfig(void* userData, const char* json) {
  static_cast<HostRecord*>(userData)->liveConfigs.push_back(json);
}
extern "C" void recordSampling(void* userData, const obx_sampling_multiplatform* sampling) {
  static_cast<HostRecord*>(userData)->samplings.emplace_back(sampling->stop_tracking_due_to_sampling,
                                                            sampling->stop_recording_due_to_sampling);
}
extern "C" void recordPerformance(void* userData, const obx_performance_multiplatform* performance) {
  auto* record = static_cast<HostRecord*>(userData);
  std::vector<int> stressed;
  for (int32_t i = 0; i < performance->is_stressed_count; ++i) stressed.push_back(performance->is_stressed[i]);
  record->stressed.push_back(stressed);
  record->performances.push_back(*performance);
  record->performances.back().is_stressed = nullptr;
}

obx_delegate tableFor(HostRecord& record) {
  return obx_delegate{&record, recordLiveConfig, recordPerformance, recordSampling};
}

class CDelegateTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  std::shared_ptr<SDKConfiguration> configuration_ = std::make_shared<SDKConfiguration>(
      Configuration("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform{PlatformType::flutter, "3.1.0", "Dart"}, scheduler_);
  std::shared_ptr<CDelegateAdapter> adapter_ = std::make_shared<CDelegateAdapter>(scheduler_);
  HostRecord host_;

  void SetUp() override {
    obx_delegate table = tableFor(host_);
    adapter_->setTable(&table);
    configuration_->setDelegate(adapter_);
  }
  void serverSends(const std::string& document) {
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded) << document;
    configuration_->updateLiveConfiguration(*decoded);
    scheduler_->runUntilIdle();
  }
};

// A received document reaches the host as one JSON object under the record's field names, in the
// record's order, with enumerations as integers, the conversions applied, absent fields left out
// and no bridge switch.
TEST_F(CDelegateTest, LiveConfigurationArrivesAsJSON) {
  serverSends(R"({"qv_experienceDataSampleMethod": 1, "qv_sessCookieFlags": 4, "analysisLeadFlags": -1,
                  "replaySessFlags": 2, "qv_ipHandling": 3, "dst_screenMasking": ["Login", "Pay"],
                  "vs_imageQuality": 4, "vs_screenshotMaxCount": 300, "qv_sessionTimeout": 45,
                  "m_maskingColor": "FF00FF", "msc_overrideUserConfigs": true, "dst_bufferDuration": 4.5,
                  "msc_timeToLive": 7, "msc_allowBridgeCommunication": false,
                  "vc_blockedReactNativeAppVersions": ["2.2"], "vs_enableRecording": false})");
  ASSERT_EQ(host_.liveConfigs.size(), 1u);
  auto json = nlohmann::ordered_json::parse(host_.liveConfigs[0]);
  const nlohmann::ordered_json expected = nlohmann::ordered_json::parse(R"({
    "ipHandling": 3, "useLiveConfiguration": true, "experienceDataSampleMethod": 1, "sessionCookieFlags": 4,
    "analysisLeadFlags": -1, "replaySessFlags": 2, "screensMasking": ["Login", "Pay"], "imageQualityType": 4,
    "maxScreenshots": 300, "sessionTimeout": 45, "maskingColor": "FF00FF", "blockedRNAppVersions": ["2.2"],
    "enableRecording": false, "batchTime": 4.5, "maxTimeFileSaved": 604800.0})");
  EXPECT_EQ(json, expected) << json.dump();

  // Nothing from the server: only the fallback's values and the stored defaults.
  configuration_->fallBackToCachedConfiguration();
  scheduler_->runUntilIdle();
  ASSERT_EQ(host_.liveConfigs.size(), 2u);
  EXPECT_EQ(nlohmann::ordered_json::parse(host_.liveConfigs[1]),
            nlohmann::ordered_json::parse(R"({"useLiveConfiguration": false, "showLocalLogs": false,
              "allowLogs": false, "keepVideoData": false, "enableAnalytics": true, "maxTimeFileSaved": 1296000.0})"));
}

// Retention tells the host each step: forced in while the server keeps replay out, then replay too;
// forced out stops both. The host hears nothing inside its own call, only from the delegate queue.
TEST_F(CDelegateTest, SamplingDecisionsReachTheHost) {
  serverSends(R"({"qv_sessCookieFlags": 2, "replaySessFlags": 2})");
  configuration_->setRetention(true);
  EXPECT_TRUE(host_.samplings.empty());
  scheduler_->runUntilIdle();
  EXPECT_EQ(host_.samplings, (std::vector<std::pair<bool, bool>>{{false, true}, {false, false}}));

  host_.samplings.clear();
  configuration_->editCommon([](Common& common) { common.isUserRetention = false; });
  configuration_->setRetention(false);
  scheduler_->runUntilIdle();
  EXPECT_EQ(host_.samplings, (std::vector<std::pair<bool, bool>>{{true, true}, {true, true}}));
}

// A measure becomes the C struct, stress kinds as their raw values and no array when there are none.
TEST_F(CDelegateTest, PerformanceBecomesACStruct) {
  adapter_->performance(PerformanceMultiplatform{{DeviceStressedTypeFlutter::memory, DeviceStressedTypeFlutter::cpu},
                                                 0.25, 120.5, 0.8, 8, 16384.0});
  adapter_->performance(PerformanceMultiplatform{});
  scheduler_->runUntilIdle();
  ASSERT_EQ(host_.performances.size(), 2u);
  EXPECT_EQ(host_.stressed[0], (std::vector<int>{1, 2}));
  EXPECT_EQ(host_.performances[0].is_stressed_count, 2);
  EXPECT_EQ(host_.performances[0].cpu, 0.25);
  EXPECT_EQ(host_.performances[0].memory, 120.5);
  EXPECT_EQ(host_.performances[0].battery, 0.8);
  EXPECT_EQ(host_.performances[0].threads, 8);
  EXPECT_EQ(host_.performances[0].max_memory, 16384.0);
  EXPECT_TRUE(host_.stressed[1].empty());
  EXPECT_EQ(host_.performances[1].is_stressed_count, 0);
}

// Missing callbacks are skipped, a new table takes over with its own user data, and removing the
// table silences the adapter.
TEST_F(CDelegateTest, TableCanBeReplacedOrRemoved) {
  HostRecord other;
  obx_delegate partial{&other, nullptr, nullptr, recordSampling};
  adapter_->setTable(&partial);
  serverSends("{}");
  adapter_->performance(PerformanceMultiplatform{});
  configuration_->setRetention(false);
  scheduler_->runUntilIdle();
  EXPECT_TRUE(host_.liveConfigs.empty());
  EXPECT_TRUE(other.liveConfigs.empty());
  EXPECT_TRUE(other.performances.empty());
  EXPECT_EQ(other.samplings.size(), 2u);
  EXPECT_TRUE(host_.samplings.empty());

  adapter_->setTable(nullptr);
  EXPECT_FALSE(adapter_->hasTable());
  adapter_->sampling(SamplingMultiplatform{true, true});
  scheduler_->runUntilIdle();
  EXPECT_EQ(other.samplings.size(), 2u);

  // A call told while a table was installed, still queued when the table goes, is not made.
  adapter_->setTable(&partial);
  adapter_->sampling(SamplingMultiplatform{true, true});
  adapter_->setTable(nullptr);
  scheduler_->runUntilIdle();
  EXPECT_EQ(other.samplings.size(), 2u);
}

// The C API over the process-wide adapter and core; the scheduler and callbacks are put back after
// each test, whatever assertion ends it.
class CAPITest : public ::testing::Test {
 protected:
  void SetUp() override { platform::setDefaultScheduler(scheduler_); }
  void TearDown() override {
    obx_set_delegate(nullptr);
    platform::setDefaultScheduler(nullptr);
  }
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
};

// The public setter drives the process-wide adapter; refused initializations return no text.
TEST_F(CAPITest, SetterAndRefusedInitialization) {
  HostRecord host;
  obx_delegate table = tableFor(host);
  obx_set_delegate(&table);
  CDelegateAdapter::shared()->sampling(SamplingMultiplatform{true, false});
  scheduler_->runUntilIdle();
  EXPECT_EQ(host.samplings, (std::vector<std::pair<bool, bool>>{{true, false}}));
  obx_set_delegate(nullptr);
  CDelegateAdapter::shared()->sampling(SamplingMultiplatform{false, false});
  scheduler_->runUntilIdle();
  EXPECT_EQ(host.samplings.size(), 1u);

  testing::LogCapture logs;
  obx_configuration noAccount{nullptr, "prop", OBX_CONSENT_ANALYTICS, false, true, false, false, false, nullptr,
                              nullptr, OBX_MAIN_QUEUE_SDK_THREAD};
  EXPECT_EQ(obx_initialize_multiplatform_with_delegate(&noAccount, nullptr, &table), nullptr);
  EXPECT_TRUE(logs.contains("OmbrixOBX cannot initialize without an account and a property", LogLevel::public_));
  obx_configuration valid{"acc", "prop", OBX_CONSENT_ANALYTICS, false, true, false, false, false, nullptr, nullptr,
                          OBX_MAIN_QUEUE_SDK_THREAD};
  obx_platform unknown{static_cast<obx_platform_type>(9), "1.0", "Dart"};
  EXPECT_EQ(obx_initialize_multiplatform_with_delegate(&valid, &unknown, nullptr), nullptr);
  EXPECT_TRUE(logs.contains("OmbrixOBX unknown platform type 9", LogLevel::public_));
}

// A multiplatform host that installed the adapter at initialize receives the server's document
// through the callbacks installed later by the setter.
TEST_F(CAPITest, AdapterGivenAtInitializeForwardsToTheTableSetLater) {
  testing::LogCapture logs;
  testing::TemporarySandbox sandbox;
  platform::Application::resetShared(scheduler_);
  platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
  {
    auto core = testing::makeCore(scheduler_, nullptr, testing::kAllFeatures, testing::noFeature);
    Configuration configuration("acc", "prop", Consent::analytics, false, true, false, false, false);
    configuration.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
    LiveConfigurationMultiplatform initial =
        core->initialize(configuration, Platform{PlatformType::reactNative, "0.72", "JavaScript"},
                         CDelegateAdapter::shared());
    scheduler_->runUntilIdle();
    EXPECT_EQ(liveConfigurationJSON(initial), R"({"useLiveConfiguration":false})");

    HostRecord host;
    obx_delegate table = tableFor(host);
    obx_set_delegate(&table);
    auto decoded = SessionConfiguration::decode(R"({"replaySessFlags": 3, "vs_videoQuality": 1})");
    ASSERT_TRUE(decoded);
    core->configuration()->updateLiveConfiguration(*decoded);
    scheduler_->runUntilIdle();
    ASSERT_EQ(host.liveConfigs.size(), 1u);
    EXPECT_EQ(host.liveConfigs[0],
              R"({"useLiveConfiguration":false,"replaySessFlags":3,"videoQualityType":1,"maxTimeFileSaved":1296000.0})");
  }
  scheduler_->runUntilIdle();
}

extern "C" void recordSessionURL(void* userData, const char* url) {
  static_cast<std::vector<std::string>*>(userData)->push_back(url ? url : "(none)");
}

// A C host receives the session link through its callback, absent as NULL, until it removes the
// callback; it reads the application's version.
TEST_F(CAPITest, SessionURLCallbackAndAppVersion) {
  std::vector<std::string> links;
  obx_set_session_url_callback(recordSessionURL, &links);
  auto callback = OBX::sessionURL();
  ASSERT_TRUE(callback);
  callback(std::string("https://portal.test/replay/S1"));
  callback(std::nullopt);
  EXPECT_EQ(links, (std::vector<std::string>{"https://portal.test/replay/S1", "(none)"}));
  obx_set_session_url_callback(nullptr, nullptr);
  EXPECT_FALSE(OBX::sessionURL());

  platform::BundleInfo::main().setObject("CFBundleShortVersionString", "4.2.1");
  char* version = obx_app_version();
  ASSERT_NE(version, nullptr);
  EXPECT_STREQ(version, "4.2.1");
  obx_string_free(version);
  platform::BundleInfo::main().setObject("CFBundleShortVersionString", std::nullopt);
  EXPECT_EQ(obx_app_version(), nullptr);
}

}  // namespace
}  // namespace obx
