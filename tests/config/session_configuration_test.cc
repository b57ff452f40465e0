#include "config/session_configuration.h"

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "base/logger.h"
#include "platform/dispatch/manual_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

// A document with every key at a value other than its default, each value distinct from its
// neighbours', so that a key read into the wrong field shows.
constexpr const char* kEveryKey = R"({
  "qv_experienceDataSampleMethod": 1, "qv_analysisDataSampleMethod": 2, "qv_replayDataSampleMethod": 0,
  "qv_sessCookieFlags": 1, "qv_leadCookieFlags": 3, "analysisSessFlags": 2, "analysisLeadFlags": 4,
  "replaySessFlags": -1, "replayLeadFlags": 0, "qv_ipHandling": 2,
  "dst_disableScreenTracking": ["Secret"], "dst_screenMasking": ["Login"], "dst_forceHiFi": ["Map"],
  "dst_forceLoFi": ["Chart"], "vs_imageQuality": 4, "vs_videoQuality": 1, "vs_screenMaxDuration": 8,
  "vs_screenshotMaxCount": 300, "vs_recordVideoInForeground": true, "qv_sessionTimeout": 45,
  "m_maskingColor": "FF00FF", "qv_showLocalLogs": true, "qv_allowLogs": false,
  "vc_blockediOSSDKVersions": ["0.0.1"], "vc_blockediOSAppVersions": ["9.9"], "msc_keepVideoData": true,
  "msc_maxMemoryUsage": 512, "msc_maxCPUUsage": 80, "msc_enableAnalytics": false,
  "msc_overrideUserConfigs": true, "vc_blockedFlutterSDKVersions": ["3.0"],
  "vc_blockedFlutterAppVersions": ["1.1"], "vc_blockedReactNativeSDKVersions": ["0.70"],
  "vc_blockedReactNativeAppVersions": ["2.2"], "dst_bufferDuration": 4.5, "dst_forceWireframe": true,
  "vs_enableRecording": false, "msc_overrideCollectionURL": "https://other.test", "msc_timeToLive": 7,
  "msc_allowBridgeCommunication": false, "unknownKey": {"ignored": true}
})";

// The stored form of that document: every field of the record under its own name, enumerations as
// their raw values, with the live conversions (override switch, buffer duration, days to seconds).
constexpr const char* kEveryField = R"({
  "useLiveConfiguration": true, "ipHandling": 2, "batchTime": 4.5, "maxTimeFileSaved": 604800.0,
  "experienceDataSampleMethod": 1, "sessionCookieFlags": 1, "leadCookieFlags": 3,
  "analysisDataSampleMethod": 2, "analysisSessionFlags": 2, "analysisLeadFlags": 4,
  "replayDataSampleMethod": 0, "replaySessionFlags": -1, "replayLeadFlags": 0,
  "disableScreenTracking": ["Secret"], "screensMasking": ["Login"], "forceHiFi": ["Map"], "forceLoFi": ["Chart"],
  "imageQualityType": 4, "videoQualityType": 1, "maxScreenDuration": 8, "maxScreenshots": 300,
  "recordVideoInForeground": true, "sessionTimeout": 45, "maskingColor": "FF00FF", "showLocalLogs": true,
  "allowLogs": false, "sdkVersionsBlocked": ["0.0.1"], "appVersionsBlocked": ["9.9"], "keepVideoData": true,
  "maxMemoryUsage": 512, "maxCPUUsage": 80, "enableAnalytics": false, "blockedFlutterSDKVersions": ["3.0"],
  "blockedFlutterAppVersions": ["1.1"], "blockedRNSDKVersions": ["0.70"], "blockedRNAppVersions": ["2.2"],
  "forceWireframe": true, "enableRecording": false, "overrideCollectionURL": "https://other.test",
  "allowBridgeCommunication": false
})";

// A cache in memory, standing for the store's.
class MemoryCache : public ConfigurationCache {
 public:
  std::optional<std::string> read(const std::string& key) override {
    auto found = entries.find(key);
    if (found == entries.end()) return std::nullopt;
    return found->second;
  }
  void save(const std::string& key, const std::vector<std::uint8_t>& bytes) override {
    entries[key] = std::string(bytes.begin(), bytes.end());
  }
  std::map<std::string, std::string> entries;
};

// Every key of the server's document lands in its own field of the stored record, with the live
// conversions applied, and the record holds nothing else: that stored form goes to the cache and comes
// back whole at the next start. Through the live update, the document reaches every field of Common
// that the live layer feeds.
TEST(SessionConfigurationTest, LiveUpdateFillsCommonAndTheCacheRoundTrips) {
  auto scheduler = platform::ManualScheduler::make();
  auto cache = std::make_shared<MemoryCache>();
  const Configuration app("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
  {
    testing::LogCapture logs;
    SDKConfiguration configuration(app, Platform{}, scheduler, cache);
    std::string error;
    auto decoded = SessionConfiguration::decode(kEveryKey, &error);
    ASSERT_TRUE(decoded) << error;
    configuration.updateLiveConfiguration(*decoded);
    const Common common = configuration.common();
    EXPECT_TRUE(common.isLiveConfigFinished);
    EXPECT_EQ(common.ipHandling, 2);
    EXPECT_EQ(common.experienceDataSampleMethod, SamplingMethod::weighted);
    EXPECT_EQ(common.analysisDataSampleMethod, SamplingMethod::purposeful);
    EXPECT_EQ(common.replayDataSampleMethod, SamplingMethod::random);
    EXPECT_EQ(common.sessionCookieFlags, SamplingFlags::appInSample);
    EXPECT_EQ(common.leadCookieFlags, SamplingFlags::collectionInSample);
    EXPECT_EQ(common.analysisSessionFlags, SamplingFlags::appOutSample);
    EXPECT_EQ(common.analysisLeadFlags, SamplingFlags::collectionOutSample);
    EXPECT_EQ(common.replaySessionFlags, SamplingFlags::unexpected);
    EXPECT_EQ(common.replayLeadFlags, SamplingFlags::processing);
    EXPECT_EQ(common.disableScreenTracking, StringList{"Secret"});
    EXPECT_EQ(common.screensMasking, StringList{"Login"});
    EXPECT_EQ(common.forceHiFi, StringList{"Map"});
    EXPECT_EQ(common.forceLoFi, StringList{"Chart"});
    EXPECT_EQ(common.imageQualityType, ImageQualityType::ultra);
    EXPECT_EQ(common.videoQualityType, VideoQualityType::low);
    EXPECT_EQ(common.maxScreenDuration, 8);
    EXPECT_EQ(common.kMaxImagesVideoRecording, 300);
    EXPECT_EQ(common.recordVideoInForeground, true);
    EXPECT_EQ(common.sessionLength, 2700);
    EXPECT_EQ(common.maskingColor, Color::fromHex("FF00FF"));
    EXPECT_EQ(common.showLocalLogs, true);
    EXPECT_EQ(common.allowLogs, false);
    EXPECT_EQ(common.sdkVersionsBlocked, StringList{"0.0.1"});
    EXPECT_EQ(common.appVersionsBlocked, StringList{"9.9"});
    EXPECT_EQ(common.keepVideoData, true);
    EXPECT_EQ(common.enableAnalytics, false);
    EXPECT_EQ(common.blockedFlutterSDKVersions, StringList{"3.0"});
    EXPECT_EQ(common.blockedFlutterAppVersions, StringList{"1.1"});
    EXPECT_EQ(common.blockedRNSDKVersions, StringList{"0.70"});
    EXPECT_EQ(common.blockedRNAppVersions, StringList{"2.2"});
    EXPECT_EQ(common.batchTime, 4.5);
    EXPECT_EQ(common.maxTimeFileSaved, 604800.0);
    EXPECT_EQ(common.allowBridgeCommunication, false);
  }
  ASSERT_TRUE(cache->entries.count("config"));
  EXPECT_EQ(nlohmann::json::parse(cache->entries["config"]), nlohmann::json::parse(kEveryField));

  // The next start restores every field from the cache, and the stored form decodes to itself.
  SDKConfiguration restarted(app, Platform{}, scheduler, cache);
  EXPECT_EQ(nlohmann::json::parse(encodeLiveConfiguration(restarted.liveConfiguration())),
            nlohmann::json::parse(kEveryField));
  EXPECT_FALSE(restarted.common().isLiveConfigFinished);
  EXPECT_EQ(restarted.common().analysisSessionFlags, SamplingFlags::appOutSample);
  auto back = decodeLiveConfiguration(kEveryField);
  ASSERT_TRUE(back);
  EXPECT_EQ(nlohmann::json::parse(encodeLiveConfiguration(*back)), nlohmann::json::parse(kEveryField));

  Logger::setShowLocalLogs(false);
  Logger::setAllowLogs(false);
  Logger::setLevel(LogLevel::public_);
}

// An empty document gives the defaults of the conversions: 15 days, bridge allowed, no override.
TEST(SessionConfigurationTest, EmptyDocumentDefaults) {
  auto decoded = SessionConfiguration::decode("{}");
  ASSERT_TRUE(decoded);
  LiveConfiguration live = decoded->toLiveConfiguration();
  EXPECT_EQ(live.maxTimeFileSaved, 1296000.0);
  EXPECT_EQ(live.allowBridgeCommunication, true);
  EXPECT_FALSE(live.useLiveConfiguration);
  EXPECT_FALSE(live.batchTime);
}

// One bad value fails the whole document.
TEST(SessionConfigurationTest, StrictDecodingFailsTheWholeDocument) {
  const char* bad[] = {
      R"({"qv_sessCookieFlags": 5})",         R"({"qv_sessCookieFlags": -2})",
      R"({"qv_experienceDataSampleMethod": 3})", R"({"vs_imageQuality": 5})",
      R"({"vs_videoQuality": "2"})",          R"({"qv_allowLogs": 1})",
      R"({"dst_screenMasking": "Login"})",    R"({"dst_screenMasking": ["a", 2]})",
      R"({"qv_sessionTimeout": 12.5})",       R"({"m_maskingColor": 808080})",
      R"([1, 2])",                            R"(not json)",
      R"({"dst_bufferDuration": "5"})",
      // Beyond 32 bits, as integers or as whole floats: refused, never cut down to a value in range.
      R"({"qv_sessCookieFlags": 4294967297})", R"({"qv_sessCookieFlags": 1e10})",
      R"({"qv_sessionTimeout": 2147483648})",  R"({"qv_sessionTimeout": -2147483649})",
      R"({"vs_screenshotMaxCount": 18446744073709551615})", R"({"msc_timeToLive": -1e300})",
  };
  for (const char* document : bad) EXPECT_FALSE(SessionConfiguration::decode(document)) << document;
  EXPECT_TRUE(SessionConfiguration::decode(R"({"qv_sessionTimeout": 12.0, "qv_allowLogs": null})"));
  EXPECT_TRUE(SessionConfiguration::decode(R"({"qv_sessionTimeout": 2147483647, "vs_screenshotMaxCount": -2147483648})"));
}

// A buffer duration of zero or less keeps the batch time in use, with a log line; a positive one
// becomes the batch time.
TEST(SessionConfigurationTest, BufferDurationMustBePositive) {
  testing::LogCapture logs;
  const std::pair<const char*, std::optional<double>> cases[] = {
      {R"({"dst_bufferDuration": 0})", std::nullopt},
      {R"({"dst_bufferDuration": -3.5})", std::nullopt},
      {R"({"dst_bufferDuration": 0.25})", 0.25},
      {R"({"dst_bufferDuration": 8})", 8.0},
  };
  for (const auto& [document, batchTime] : cases) {
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded) << document;
    EXPECT_EQ(decoded->toLiveConfiguration().batchTime, batchTime) << document;
  }
  EXPECT_EQ(logs.count("Live configuration dst_bufferDuration -3.5 is not a positive number of seconds; the batch "
                       "time stays as it is"),
            1u);
}

// The stored form survives a round trip through its JSON, absent fields staying absent.
TEST(SessionConfigurationTest, StoredFormRoundTrips) {
  LiveConfiguration live;
  live.useLiveConfiguration = true;
  live.sessionCookieFlags = SamplingFlags::appOutSample;
  live.appVersionsBlocked = StringList{"1.0.0"};
  live.maxTimeFileSaved = 86400.0;
  live.maskingColor = "00FF00";
  const std::string text = encodeLiveConfiguration(live);
  EXPECT_EQ(text.find("null"), std::string::npos) << text;
  auto back = decodeLiveConfiguration(text);
  ASSERT_TRUE(back);
  EXPECT_EQ(nlohmann::json::parse(encodeLiveConfiguration(*back)), nlohmann::json::parse(text));
  EXPECT_EQ(nlohmann::json::parse(text).size(), 5u);
  EXPECT_FALSE(back->batchTime);
  EXPECT_FALSE(decodeLiveConfiguration("{}"));
  EXPECT_FALSE(decodeLiveConfiguration(R"({"useLiveConfiguration": false, "sessionCookieFlags": 9})"));
}

}  // namespace
}  // namespace obx
