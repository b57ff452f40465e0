// SessionConfiguration: the live-configuration document as the collection server sends it, and the
// conversions between the stored LiveConfiguration and JSON. Decoding is strict: a value of the wrong
// type or an enumeration value out of range fails the whole document. Absent and null keys are absent.
#pragma once

#include <optional>
#include <string>

#include "config/sdk_configuration.h"

namespace obx {

struct SessionConfiguration {
  std::optional<SamplingMethod> experienceDataSampleMethod;
  std::optional<SamplingMethod> analysisDataSampleMethod;
  std::optional<SamplingMethod> replayDataSampleMethod;
  std::optional<SamplingFlags> sessionCookieFlags;
  std::optional<SamplingFlags> leadCookieFlags;
  std::optional<SamplingFlags> analysisSessionFlags;
  std::optional<SamplingFlags> analysisLeadFlags;
  std::optional<SamplingFlags> replaySessionFlags;
  std::optional<SamplingFlags> replayLeadFlags;
  std::optional<int> ipHandling;
  std::optional<StringList> disableScreenTracking;
  std::optional<StringList> screensMasking;
  std::optional<StringList> forceHiFi;
  std::optional<StringList> forceLoFi;
  std::optional<ImageQualityType> imageQuality;
  std::optional<VideoQualityType> videoQuality;
  std::optional<int> maxScreenDuration;
  std::optional<int> maxScreenshots;
  std::optional<bool> recordVideoInForeground;
  std::optional<int> sessionTimeout;
  std::optional<std::string> maskingColor;
  std::optional<bool> showLocalLogs;
  std::optional<bool> allowLogs;
  std::optional<StringList> sdkVersionsBlocked;
  std::optional<StringList> appVersionsBlocked;
  std::optional<bool> keepVideoData;
  std::optional<int> maxMemoryUsage;
  std::optional<int> maxCPUUsage;
  std::optional<bool> enableAnalytics;
  std::optional<bool> overrideUserConfig;
  std::optional<StringList> blockedFlutterSDKVersions;
  std::optional<StringList> blockedFlutterAppVersions;
  std::optional<StringList> blockedRNSDKVersions;
  std::optional<StringList> blockedRNAppVersions;
  std::optional<double> bufferDuration;
  std::optional<bool> forceWireframe;
  std::optional<bool> enableRecording;
  std::optional<std::string> overrideCollectionURL;
  std::optional<int> timeToLive;  // days
  std::optional<bool> allowBridgeCommunication;

  // Absent on any type or range error; `error` then says which key failed.
  static std::optional<SessionConfiguration> decode(const std::string& json, std::string* error = nullptr);
  // The stored form, with the conversions the live update applies (bufferDuration to batchTime,
  // timeToLive days to maxTimeFileSaved seconds, bridge allowed when absent, ...).
  LiveConfiguration toLiveConfiguration() const;
};

// The stored live configuration as JSON with its field names as keys; absent fields are left out.
std::string encodeLiveConfiguration(const LiveConfiguration& live);
std::optional<LiveConfiguration> decodeLiveConfiguration(const std::string& json);

}  // namespace obx
