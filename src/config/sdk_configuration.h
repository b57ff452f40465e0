// SDKConfiguration: the application's settings (UserConfiguration), the server's (LiveConfiguration)
// and the SDK's defaults, merged into Common, the one record every consumer reads. Each apply
// republishes Common through `notifier()`; consumers keep their own copy from their observer.
// Reached from facade threads, the live-configuration fetch and the session queue: the three records
// sit behind one lock, and no lock is held while publishing or logging.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/notifier.h"
#include "config/configuration_cache.h"
#include "obx/color.h"
#include "obx/configuration.h"
#include "obx/delegate.h"
#include "obx/enums.h"

namespace obx {

struct SessionConfiguration;

using StringList = std::vector<std::string>;

struct UserConfiguration {
  LogLevel logLevel = LogLevel::public_;
  Consent userConsents = Consent::analyticsAndRecording;
  std::vector<MaskAutomatic> maskingAutomatic{MaskAutomatic::webViews, MaskAutomatic::inputs};
  SessionReplayMode sessionReplayMode = SessionReplayMode::automatic;
  bool mobileDataEnable = true;
  bool sessionReplayEnabled = true;
  bool crashReporterEnabled = false;
  bool manualScreenTracking = false;
  std::optional<bool> userSessionCookieFlag;
  std::optional<bool> userAnalysisSessionFlag;
  std::optional<bool> userScreenFlag;
  std::optional<bool> userReplaySessionFlag;
  std::optional<ImageQualityType> imageQualityType;
  std::optional<Color> maskingColor;
  bool captureURLParameters = true;
};

struct LiveConfiguration {
  std::optional<int> ipHandling;
  bool useLiveConfiguration = false;
  std::optional<double> batchTime;
  std::optional<double> maxTimeFileSaved;
  std::optional<SamplingMethod> experienceDataSampleMethod;
  std::optional<SamplingFlags> sessionCookieFlags;
  std::optional<SamplingFlags> leadCookieFlags;
  std::optional<SamplingMethod> analysisDataSampleMethod;
  std::optional<SamplingFlags> analysisSessionFlags;
  std::optional<SamplingFlags> analysisLeadFlags;
  std::optional<SamplingMethod> replayDataSampleMethod;
  std::optional<SamplingFlags> replaySessionFlags;
  std::optional<SamplingFlags> replayLeadFlags;
  std::optional<StringList> disableScreenTracking;
  std::optional<StringList> screensMasking;
  std::optional<StringList> forceHiFi;
  std::optional<StringList> forceLoFi;
  std::optional<ImageQualityType> imageQualityType;
  std::optional<VideoQualityType> videoQualityType;
  std::optional<int> maxScreenDuration;
  std::optional<int> maxScreenshots;
  std::optional<bool> recordVideoInForeground;
  std::optional<int> sessionTimeout;  // minutes
  std::optional<std::string> maskingColor;
  std::optional<bool> showLocalLogs;
  std::optional<bool> allowLogs;
  std::optional<StringList> sdkVersionsBlocked;
  std::optional<StringList> appVersionsBlocked;
  std::optional<bool> keepVideoData;
  std::optional<int> maxMemoryUsage;
  std::optional<int> maxCPUUsage;
  std::optional<bool> enableAnalytics;
  std::optional<StringList> blockedFlutterSDKVersions;
  std::optional<StringList> blockedFlutterAppVersions;
  std::optional<StringList> blockedRNSDKVersions;
  std::optional<StringList> blockedRNAppVersions;
  std::optional<bool> forceWireframe;
  std::optional<bool> enableRecording;
  std::optional<std::string> overrideCollectionURL;
  std::optional<bool> allowBridgeCommunication;
};

// The merged record. Defaults are the values before any merge.
struct Common {
  Platform platform;
  Endpoint endpoint = Endpoint::production();
  std::string account;
  std::string property;
  LogLevel logLevel = LogLevel::public_;
  Consent userConsents = Consent::analyticsAndRecording;
  std::vector<MaskAutomatic> maskingAutomatic{MaskAutomatic::webViews, MaskAutomatic::inputs};
  SessionReplayMode sessionReplayMode = SessionReplayMode::automatic;
  bool mobileDataEnable = true;
  bool sessionReplayEnabled = true;
  bool crashReporterEnabled = false;
  std::string uploadURLString = "%@/asset/?type=zip&wid=%@&sk=%@&sid=%@&lid=%@&passed=%d&asset=%@";
  std::string configurationURLString = "%@/i/%@/%@/app.session";
  std::string tempImagesDirectory = "%@/cache";
  std::string videoName = "zk";
  int sessionLength = 1800;  // seconds
  double kMaxCPUUsagePerCore = 0.7;
  int maxScreenDuration = 5;
  int kMaxImagesVideoRecording = 2000;
  double performanceFrequency = 5.0;
  double batchTime = 5.0;
  int retryingTimes = 5;
  double retryingDelay = 3.0;
  int screenBatchToSend = 5;
  int videoBatchToCreate = 10;
  double sendBatchDelay = 2.0;
  double dataIntegrityBatchDelay = 2.0;
  std::optional<int> ipHandling;
  std::string configurationFileName = "config";
  std::string leadIDFileName = "leadID";
  bool networkAnalytics = false;
  std::optional<SamplingMethod> experienceDataSampleMethod;
  std::optional<SamplingFlags> sessionCookieFlags;
  std::optional<SamplingFlags> leadCookieFlags;
  std::optional<SamplingMethod> analysisDataSampleMethod;
  std::optional<SamplingFlags> analysisSessionFlags;
  std::optional<SamplingFlags> analysisLeadFlags;
  std::optional<SamplingMethod> replayDataSampleMethod;
  std::optional<SamplingFlags> replaySessionFlags;
  std::optional<SamplingFlags> replayLeadFlags;
  std::optional<bool> userSessionCookieFlag;
  std::optional<bool> userAnalysisSessionFlag;
  std::optional<bool> userScreenFlag;
  std::optional<bool> userReplaySessionFlag;
  bool isUserRetention = false;
  bool captureURLParameters = true;
  double maxTimeFileSaved = 1296000.0;  // 15 days
  int imageTakenWhenScreenStart = 3;
  bool manualScreenTracking = false;
  std::optional<StringList> disableScreenTracking;
  std::optional<StringList> screensMasking;
  std::optional<StringList> forceHiFi;
  std::optional<StringList> forceLoFi;
  ImageQualityType imageQualityType = ImageQualityType::average;
  VideoQualityType videoQualityType = VideoQualityType::average;
  std::optional<bool> recordVideoInForeground;
  Color maskingColor = Color::fromHex("808080");
  std::optional<bool> showLocalLogs;
  std::optional<bool> allowLogs;
  std::optional<StringList> sdkVersionsBlocked;
  std::optional<StringList> appVersionsBlocked;
  std::optional<bool> keepVideoData;
  std::optional<bool> enableAnalytics;
  std::optional<StringList> blockedFlutterSDKVersions;
  std::optional<StringList> blockedFlutterAppVersions;
  std::optional<StringList> blockedRNSDKVersions;
  std::optional<StringList> blockedRNAppVersions;
  bool forceWireframe = false;
  bool enableRecording = true;
  std::string overrideCollectionURL;
  bool isLiveConfigFinished = false;
  std::optional<bool> allowBridgeCommunication;

  // Built from the application's Configuration and the platform it runs on.
  static Common from(const Configuration& configuration, const Platform& platform);
};

// Sampling decisions, from one Common.
bool shouldCollectExperienceData(const Common& common);
bool shouldCollectReplayData(const Common& common);
SamplingFlags webViewSamplingFlag(const Common& common);
// A pair of flags reduced to one: absent counts as `processing`, the greater raw value wins.
SamplingFlags reduceFlags(std::optional<SamplingFlags> session, std::optional<SamplingFlags> lead);
bool isInSample(std::optional<SamplingMethod> method, SamplingFlags flag);
// Live `sessionTimeout` minutes to `sessionLength` seconds: below 10 gives 600, 90 or more 5400.
int sessionLengthFromTimeout(int minutes);

class SDKConfiguration {
 public:
  // Fills the three records, restores the cached live values through `cache` (when given), sets
  // the process-wide log level and logs the configuration block. Publishes nothing.
  SDKConfiguration(const Configuration& configuration, const Platform& platform,
                   std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<ConfigurationCache> cache = nullptr);
  SDKConfiguration(const SDKConfiguration&) = delete;
  SDKConfiguration& operator=(const SDKConfiguration&) = delete;

  // Copies of the records, taken under the lock.
  Common common() const;
  UserConfiguration userConfiguration() const;
  LiveConfiguration liveConfiguration() const;

  Notifier<Common>& notifier() { return notifier_; }
  void addObserver(std::shared_ptr<ObserverValue<Common>> observer) { notifier_.observe(std::move(observer)); }
  void removeObserver(const std::shared_ptr<ObserverValue<Common>>& observer) { notifier_.remove(observer); }

  // Edits the user configuration; call applyUserConfiguration() to make it effective.
  void editUserConfiguration(const std::function<void(UserConfiguration&)>& edit);
  // Edits the live configuration; call applyLiveConfiguration() to make it effective.
  void editLiveConfiguration(const std::function<void(LiveConfiguration&)>& edit);
  // Edits Common directly, for the few fields owned by no layer (isLiveConfigFinished,
  // isUserRetention). Does not publish.
  void editCommon(const std::function<void(Common&)>& edit);

  void applyUserConfiguration();
  void applyLiveConfiguration();
  // Publishes the current Common without changing it.
  void publish();

  void setImageQuality(ImageQualityType quality);
  void setMaskingColor(const Color& color);
  void enableAutoMasking(const std::vector<MaskAutomatic>& list);
  void disableAutoMasking(const std::vector<MaskAutomatic>& list);
  void setConsent(Consent consent);
  void setCaptureURLParameters(bool value);
  void setMobileDataEnable(bool value);
  // Once per session: forces the session in (true) or out (false) of sample, with its replay.
  void setRetention(bool value);

  // Stores a received document and applies it; the configuration is then finished. Caches it
  // under configurationFileName ("config") and tells the delegate.
  void updateLiveConfiguration(const SessionConfiguration& document);
  // The cached document when it decodes, else an empty one: either way the configuration is finished.
  void fallBackToCachedConfiguration();
  // At construction: cached values steer from the first moment, but the configuration is not
  // finished until the fetch answers.
  void restoreLiveConfiguration();

  bool shouldCollectExperienceData() const;
  bool shouldCollectReplayData() const;
  SamplingFlags webViewSamplingFlag() const;

  std::shared_ptr<OBXDelegate> delegate() const;
  void setDelegate(std::shared_ptr<OBXDelegate> delegate);
  // Tells the delegate, if any, whether this session is sampled out of tracking and recording.
  void tellDelegateSampling() const;

 private:
  // Chooses image quality and masking colour from the user and live layers; returns the log line.
  static std::string reconcileQualityAndColor(Common& common, const UserConfiguration& user,
                                              const LiveConfiguration& live);
  void applyLogLevel();
  void applyLogSwitches();
  std::optional<LiveConfiguration> readCachedLiveConfiguration() const;
  void saveCachedLiveConfiguration(const LiveConfiguration& live) const;

  mutable std::mutex mutex_;
  // Held from the change of Common to the hand-over of its copy to the notifier (which only queues
  // it), so that publications leave in the order the values were made.
  std::mutex publishMutex_;
  Common common_;
  UserConfiguration userConfiguration_;
  LiveConfiguration liveConfiguration_;
  Notifier<Common> notifier_;
  std::shared_ptr<ConfigurationCache> cache_;
  std::shared_ptr<OBXDelegate> delegate_;
};

}  // namespace obx
