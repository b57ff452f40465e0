// OBXDelegate and the records a multiplatform host receives through it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace obx {

// The live configuration as a multiplatform host sees it: enumerations as their raw integers, and
// without the bridge switch, which concerns only the native SDK.
struct LiveConfigurationMultiplatform {
  std::optional<int> ipHandling;
  std::optional<bool> useLiveConfiguration;
  std::optional<int> experienceDataSampleMethod;
  std::optional<int> sessionCookieFlags;
  std::optional<int> leadCookieFlags;
  std::optional<int> analysisDataSampleMethod;
  std::optional<int> analysisSessFlags;
  std::optional<int> analysisLeadFlags;
  std::optional<int> replayDataSampleMethod;
  std::optional<int> replaySessFlags;
  std::optional<int> replayLeadFlags;
  std::optional<std::vector<std::string>> disableScreenTracking;
  std::optional<std::vector<std::string>> screensMasking;
  std::optional<std::vector<std::string>> forceHiFi;
  std::optional<std::vector<std::string>> forceLoFi;
  std::optional<int> imageQualityType;
  std::optional<int> videoQualityType;
  std::optional<int> maxScreenDuration;
  std::optional<int> maxScreenshots;
  std::optional<bool> recordVideoInForeground;
  std::optional<int> sessionTimeout;
  std::optional<std::string> maskingColor;
  std::optional<bool> showLocalLogs;
  std::optional<bool> allowLogs;
  std::optional<std::vector<std::string>> sdkVersionsBlocked;
  std::optional<std::vector<std::string>> appVersionsBlocked;
  std::optional<bool> keepVideoData;
  std::optional<int> maxMemoryUsage;
  std::optional<int> maxCPUUsage;
  std::optional<bool> enableAnalytics;
  std::optional<std::vector<std::string>> blockedFlutterSDKVersions;
  std::optional<std::vector<std::string>> blockedFlutterAppVersions;
  std::optional<std::vector<std::string>> blockedRNSDKVersions;
  std::optional<std::vector<std::string>> blockedRNAppVersions;
  std::optional<bool> forceWireframe;
  std::optional<bool> enableRecording;
  std::optional<std::string> overrideCollectionURL;
  std::optional<double> batchTime;
  std::optional<double> maxTimeFileSaved;
};

struct SamplingMultiplatform {
  bool stopTrackingDueToSampling = false;
  bool stopRecordingDueToSampling = false;
};

// Raw values 0 to 2.
enum class DeviceStressedTypeFlutter : int { battery = 0, memory = 1, cpu = 2 };

struct PerformanceMultiplatform {
  std::vector<DeviceStressedTypeFlutter> isStressed;
  double cpu = 0;
  double memory = 0;
  double battery = 0;
  int threads = 0;
  double maxMemory = 0;
};

// Implemented by a multiplatform host. Calls arrive on the SDK's queues, never on the host's main
// thread; an implementation must not block.
class OBXDelegate {
 public:
  virtual ~OBXDelegate() = default;
  virtual void liveConfig(const LiveConfigurationMultiplatform& configuration) = 0;
  virtual void performance(const PerformanceMultiplatform& performance) = 0;
  virtual void sampling(const SamplingMultiplatform& sampling) = 0;
};

}  // namespace obx
