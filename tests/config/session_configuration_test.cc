#include "config/session_configuration.h"

#include <gtest/gtest.h>

#include "testing/log_capture.h"

namespace obx {
namespace {

// Every key of the server's document lands in its field, with the live conversions applied.
TEST(SessionConfigurationTest, DecodesEveryKeyAndConverts) {
  const char* document = R"({
    "qv_experienceDataSampleMethod": 1, "qv_analysisDataSampleMethod": 0, "qv_replayDataSampleMethod": 2,
    "qv_sessCookieFlags": 1, "qv_leadCookieFlags": 3, "analysisSessFlags": 2, "analysisLeadFlags": 4,
    "replaySessFlags": -1, "replayLeadFlags": 0, "qv_ipHandling": 2,
    "dst_disableScreenTracking": ["Secret"], "dst_screenMasking": ["Login"], "dst_forceHiFi": [],
    "dst_forceLoFi": ["Map"], "vs_imageQuality": 4, "vs_videoQuality": 0, "vs_screenMaxDuration": 8,
    "vs_screenshotMaxCount": 300, "vs_recordVideoInForeground": true, "qv_sessionTimeout": 45,
    "m_maskingColor": "FF00FF", "qv_showLocalLogs": false, "qv_allowLogs": true,
    "vc_blockediOSSDKVersions": ["0.0.1"], "vc_blockediOSAppVersions": ["9.9"], "msc_keepVideoData": true,
    "msc_maxMemoryUsage": 300, "msc_maxCPUUsage": 80, "msc_enableAnalytics": true,
    "msc_overrideUserConfigs": true, "vc_blockedFlutterSDKVersions": ["3.0"],
    "vc_blockedFlutterAppVersions": ["1.1"], "vc_blockedReactNativeSDKVersions": ["0.70"],
    "vc_blockedReactNativeAppVersions": ["2.2"], "dst_bufferDuration": 4.5, "dst_forceWireframe": true,
    "vs_enableRecording": false, "msc_overrideCollectionURL": "https://other", "msc_timeToLive": 7,
    "msc_allowBridgeCommunication": false, "unknownKey": {"ignored": true}
  })";
  std::string error;
  auto decoded = SessionConfiguration::decode(document, &error);
  ASSERT_TRUE(decoded) << error;
  LiveConfiguration live = decoded->toLiveConfiguration();
  EXPECT_EQ(live.experienceDataSampleMethod, SamplingMethod::weighted);
  EXPECT_EQ(live.replayDataSampleMethod, SamplingMethod::purposeful);
  EXPECT_EQ(live.leadCookieFlags, SamplingFlags::collectionInSample);
  EXPECT_EQ(live.replaySessionFlags, SamplingFlags::unexpected);
  EXPECT_EQ(live.analysisLeadFlags, SamplingFlags::collectionOutSample);
  EXPECT_EQ(live.imageQualityType, ImageQualityType::ultra);
  EXPECT_EQ(live.videoQualityType, VideoQualityType::poor);
  EXPECT_EQ(live.maxScreenshots, 300);
  EXPECT_EQ(live.sessionTimeout, 45);
  EXPECT_EQ(live.batchTime, 4.5);
  EXPECT_EQ(live.maxTimeFileSaved, 604800.0);
  EXPECT_TRUE(live.useLiveConfiguration);
  EXPECT_EQ(live.allowBridgeCommunication, false);
  EXPECT_EQ(live.blockedRNAppVersions, (StringList{"2.2"}));
  EXPECT_EQ(live.forceHiFi, StringList{});
  EXPECT_EQ(live.overrideCollectionURL, "https://other");
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
  std::string text = encodeLiveConfiguration(live);
  EXPECT_EQ(text.find("null"), std::string::npos) << text;
  auto back = decodeLiveConfiguration(text);
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->useLiveConfiguration);
  EXPECT_EQ(back->sessionCookieFlags, SamplingFlags::appOutSample);
  EXPECT_EQ(back->appVersionsBlocked, (StringList{"1.0.0"}));
  EXPECT_EQ(back->maxTimeFileSaved, 86400.0);
  EXPECT_EQ(back->maskingColor, "00FF00");
  EXPECT_FALSE(back->batchTime);
  EXPECT_FALSE(decodeLiveConfiguration("{}"));
  EXPECT_FALSE(decodeLiveConfiguration(R"({"useLiveConfiguration": false, "sessionCookieFlags": 9})"));
}

}  // namespace
}  // namespace obx
