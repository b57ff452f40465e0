#include "config/live_configuration_multiplatform.h"

namespace obx {
namespace {

template <typename Enum>
std::optional<int> raw(const std::optional<Enum>& value) {
  if (!value) return std::nullopt;
  return static_cast<int>(*value);
}

}  // namespace

LiveConfigurationMultiplatform toMultiplatform(const LiveConfiguration& live) {
  LiveConfigurationMultiplatform out;
  out.ipHandling = live.ipHandling;
  out.useLiveConfiguration = live.useLiveConfiguration;
  out.experienceDataSampleMethod = raw(live.experienceDataSampleMethod);
  out.sessionCookieFlags = raw(live.sessionCookieFlags);
  out.leadCookieFlags = raw(live.leadCookieFlags);
  out.analysisDataSampleMethod = raw(live.analysisDataSampleMethod);
  out.analysisSessFlags = raw(live.analysisSessionFlags);
  out.analysisLeadFlags = raw(live.analysisLeadFlags);
  out.replayDataSampleMethod = raw(live.replayDataSampleMethod);
  out.replaySessFlags = raw(live.replaySessionFlags);
  out.replayLeadFlags = raw(live.replayLeadFlags);
  out.disableScreenTracking = live.disableScreenTracking;
  out.screensMasking = live.screensMasking;
  out.forceHiFi = live.forceHiFi;
  out.forceLoFi = live.forceLoFi;
  out.imageQualityType = raw(live.imageQualityType);
  out.videoQualityType = raw(live.videoQualityType);
  out.maxScreenDuration = live.maxScreenDuration;
  out.maxScreenshots = live.maxScreenshots;
  out.recordVideoInForeground = live.recordVideoInForeground;
  out.sessionTimeout = live.sessionTimeout;
  out.maskingColor = live.maskingColor;
  out.showLocalLogs = live.showLocalLogs;
  out.allowLogs = live.allowLogs;
  out.sdkVersionsBlocked = live.sdkVersionsBlocked;
  out.appVersionsBlocked = live.appVersionsBlocked;
  out.keepVideoData = live.keepVideoData;
  out.maxMemoryUsage = live.maxMemoryUsage;
  out.maxCPUUsage = live.maxCPUUsage;
  out.enableAnalytics = live.enableAnalytics;
  out.blockedFlutterSDKVersions = live.blockedFlutterSDKVersions;
  out.blockedFlutterAppVersions = live.blockedFlutterAppVersions;
  out.blockedRNSDKVersions = live.blockedRNSDKVersions;
  out.blockedRNAppVersions = live.blockedRNAppVersions;
  out.forceWireframe = live.forceWireframe;
  out.enableRecording = live.enableRecording;
  out.overrideCollectionURL = live.overrideCollectionURL;
  out.batchTime = live.batchTime;
  out.maxTimeFileSaved = live.maxTimeFileSaved;
  return out;
}

}  // namespace obx
