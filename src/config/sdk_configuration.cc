#include "config/sdk_configuration.h"

#include <algorithm>

#include "base/logger.h"

namespace obx {
namespace {

std::string boolText(bool value) { return value ? "true" : "false"; }

std::string maskingListText(const std::vector<MaskAutomatic>& list) {
  std::string text = "[";
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i > 0) text += ", ";
    text += toString(list[i]);
  }
  return text + "]";
}

bool contains(const std::vector<MaskAutomatic>& list, MaskAutomatic value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

}  // namespace

Common Common::from(const Configuration& configuration, const Platform& platform) {
  Common common;
  common.platform = platform;
  common.endpoint = configuration.endpoint;
  common.account = configuration.account();
  common.property = configuration.property();
  common.logLevel = configuration.logLevel;
  common.userConsents = configuration.consent;
  common.sessionReplayMode = configuration.sessionReplayMode;
  common.mobileDataEnable = configuration.mobileDataEnable;
  common.sessionReplayEnabled = configuration.sessionReplayEnabled;
  common.crashReporterEnabled = configuration.crashReporterEnabled;
  common.networkAnalytics = configuration.networkAnalytics;
  common.manualScreenTracking = configuration.manualScreenTracking;
  return common;
}

SamplingFlags reduceFlags(std::optional<SamplingFlags> session, std::optional<SamplingFlags> lead) {
  SamplingFlags a = session.value_or(SamplingFlags::processing);
  SamplingFlags b = lead.value_or(SamplingFlags::processing);
  return static_cast<int>(a) >= static_cast<int>(b) ? a : b;
}

bool isInSample(std::optional<SamplingMethod> method, SamplingFlags flag) {
  if (method == SamplingMethod::unexpected) return false;
  if (!method || method == SamplingMethod::random) {
    return flag == SamplingFlags::processing || flag == SamplingFlags::appInSample ||
           flag == SamplingFlags::collectionInSample;
  }
  return flag != SamplingFlags::appOutSample;
}

bool shouldCollectExperienceData(const Common& common) {
  if (common.userSessionCookieFlag) return *common.userSessionCookieFlag;
  return isInSample(common.experienceDataSampleMethod, reduceFlags(common.sessionCookieFlags, common.leadCookieFlags));
}

bool shouldCollectReplayData(const Common& common) {
  if (!shouldCollectExperienceData(common)) return false;
  if (common.userReplaySessionFlag) return *common.userReplaySessionFlag;
  return isInSample(common.replayDataSampleMethod, reduceFlags(common.replaySessionFlags, common.replayLeadFlags));
}

SamplingFlags webViewSamplingFlag(const Common& common) {
  if (common.userSessionCookieFlag) {
    return *common.userSessionCookieFlag ? SamplingFlags::appInSample : SamplingFlags::appOutSample;
  }
  return reduceFlags(common.sessionCookieFlags, common.leadCookieFlags);
}

int sessionLengthFromTimeout(int minutes) {
  if (minutes < 10) return 600;
  if (minutes >= 90) return 5400;
  return minutes * 60;
}

SDKConfiguration::SDKConfiguration(const Configuration& configuration, const Platform& platform,
                                   std::shared_ptr<platform::Scheduler> scheduler,
                                   std::shared_ptr<ConfigurationCache> cache)
    : common_(Common::from(configuration, platform)),
      notifier_(std::move(scheduler), common_, "Common"),
      cache_(std::move(cache)) {
  restoreLiveConfiguration();
  {
    std::lock_guard lock(mutex_);
    userConfiguration_.logLevel = configuration.logLevel;
    userConfiguration_.userConsents = configuration.consent;
    userConfiguration_.crashReporterEnabled = configuration.crashReporterEnabled;
    userConfiguration_.mobileDataEnable = configuration.mobileDataEnable;
    userConfiguration_.sessionReplayMode = configuration.sessionReplayMode;
    userConfiguration_.sessionReplayEnabled = configuration.sessionReplayEnabled;
    userConfiguration_.manualScreenTracking = configuration.manualScreenTracking;
  }
  std::string choice;
  {
    std::lock_guard lock(mutex_);
    choice = reconcileQualityAndColor(common_, userConfiguration_, liveConfiguration_);
  }
  Logger::log(choice, LogLevel::developer);
  applyLogLevel();
  Logger::log("OmbrixOBX configuration:", LogLevel::customer);
  Logger::log("- Account: " + configuration.account(), LogLevel::customer);
  Logger::log("- Property: " + configuration.property(), LogLevel::customer);
  Logger::log("- Consent: " + toString(configuration.consent), LogLevel::customer);
  Logger::log("- Crash reported enabled: " + boolText(configuration.crashReporterEnabled), LogLevel::customer);
  Logger::log("- Send data over mobile data connection: " + boolText(configuration.mobileDataEnable),
              LogLevel::customer);
  Logger::log("- Manual screen tracking enabled: " + boolText(configuration.manualScreenTracking),
              LogLevel::customer);
  Logger::log("- Automatic masking configuration: " + maskingListText(userConfiguration().maskingAutomatic),
              LogLevel::customer);
}

Common SDKConfiguration::common() const {
  std::lock_guard lock(mutex_);
  return common_;
}

UserConfiguration SDKConfiguration::userConfiguration() const {
  std::lock_guard lock(mutex_);
  return userConfiguration_;
}

LiveConfiguration SDKConfiguration::liveConfiguration() const {
  std::lock_guard lock(mutex_);
  return liveConfiguration_;
}

void SDKConfiguration::editUserConfiguration(const std::function<void(UserConfiguration&)>& edit) {
  std::lock_guard lock(mutex_);
  edit(userConfiguration_);
}

void SDKConfiguration::editLiveConfiguration(const std::function<void(LiveConfiguration&)>& edit) {
  std::lock_guard lock(mutex_);
  edit(liveConfiguration_);
}

void SDKConfiguration::editCommon(const std::function<void(Common&)>& edit) {
  std::lock_guard lock(mutex_);
  edit(common_);
}

void SDKConfiguration::applyLogLevel() {
  Common common = this->common();
  if (common.showLocalLogs.value_or(false)) {
    Logger::setLevel(LogLevel::developer);
  } else {
    Logger::setLevel(userConfiguration().logLevel);
  }
}

std::string SDKConfiguration::reconcileQualityAndColor(Common& common, const UserConfiguration& user,
                                                       const LiveConfiguration& live) {
  if (!live.useLiveConfiguration) {
    if (user.maskingColor) {
      common.maskingColor = *user.maskingColor;
    } else if (live.maskingColor) {
      common.maskingColor = Color::fromHex(*live.maskingColor);
    }
    common.imageQualityType = user.imageQualityType.value_or(live.imageQualityType.value_or(ImageQualityType::average));
    return "We use the user configuration";
  }
  common.imageQualityType = live.imageQualityType.value_or(ImageQualityType::average);
  if (live.maskingColor) common.maskingColor = Color::fromHex(*live.maskingColor);
  return "We use live configuration";
}

void SDKConfiguration::applyUserConfiguration() {
  std::string choice;
  {
    std::lock_guard order(publishMutex_);
    Common published;
    {
      std::lock_guard lock(mutex_);
      const UserConfiguration& user = userConfiguration_;
      common_.logLevel = user.logLevel;
      common_.userConsents = user.userConsents;
      common_.maskingAutomatic = user.maskingAutomatic;
      common_.sessionReplayMode = user.sessionReplayMode;
      common_.mobileDataEnable = user.mobileDataEnable;
      common_.sessionReplayEnabled = user.sessionReplayEnabled;
      common_.crashReporterEnabled = user.crashReporterEnabled;
      common_.manualScreenTracking = user.manualScreenTracking;
      common_.captureURLParameters = user.captureURLParameters;
      common_.userSessionCookieFlag = user.userSessionCookieFlag;
      common_.userAnalysisSessionFlag = user.userAnalysisSessionFlag;
      common_.userScreenFlag = user.userScreenFlag;
      common_.userReplaySessionFlag = user.userReplaySessionFlag;
      choice = reconcileQualityAndColor(common_, userConfiguration_, liveConfiguration_);
      published = common_;
    }
    notifier_.notify(std::move(published));
  }
  Logger::log(choice, LogLevel::developer);
}

void SDKConfiguration::applyLiveConfiguration() {
  std::string choice;
  {
    std::lock_guard order(publishMutex_);
    Common published;
    {
      std::lock_guard lock(mutex_);
      const LiveConfiguration& live = liveConfiguration_;
      common_.ipHandling = live.ipHandling;
      common_.experienceDataSampleMethod = live.experienceDataSampleMethod;
      common_.sessionCookieFlags = live.sessionCookieFlags;
      common_.leadCookieFlags = live.leadCookieFlags;
      common_.analysisDataSampleMethod = live.analysisDataSampleMethod;
      common_.analysisSessionFlags = live.analysisSessionFlags;
      common_.analysisLeadFlags = live.analysisLeadFlags;
      common_.replayDataSampleMethod = live.replayDataSampleMethod;
      common_.replaySessionFlags = live.replaySessionFlags;
      common_.replayLeadFlags = live.replayLeadFlags;
      common_.disableScreenTracking = live.disableScreenTracking;
      common_.screensMasking = live.screensMasking;
      common_.forceHiFi = live.forceHiFi;
      common_.forceLoFi = live.forceLoFi;
      common_.recordVideoInForeground = live.recordVideoInForeground;
      common_.showLocalLogs = live.showLocalLogs;
      common_.allowLogs = live.allowLogs;
      common_.sdkVersionsBlocked = live.sdkVersionsBlocked;
      common_.appVersionsBlocked = live.appVersionsBlocked;
      common_.keepVideoData = live.keepVideoData;
      common_.enableAnalytics = live.enableAnalytics;
      common_.blockedFlutterSDKVersions = live.blockedFlutterSDKVersions;
      common_.blockedFlutterAppVersions = live.blockedFlutterAppVersions;
      common_.blockedRNSDKVersions = live.blockedRNSDKVersions;
      common_.blockedRNAppVersions = live.blockedRNAppVersions;
      common_.allowBridgeCommunication = live.allowBridgeCommunication;
      common_.videoQualityType = live.videoQualityType.value_or(VideoQualityType::average);
      if (live.maxScreenDuration) common_.maxScreenDuration = *live.maxScreenDuration;
      if (live.maxScreenshots) common_.kMaxImagesVideoRecording = *live.maxScreenshots;
      if (live.batchTime) common_.batchTime = *live.batchTime;
      if (live.maxTimeFileSaved) common_.maxTimeFileSaved = *live.maxTimeFileSaved;
      if (live.sessionTimeout) common_.sessionLength = sessionLengthFromTimeout(*live.sessionTimeout);
      choice = reconcileQualityAndColor(common_, userConfiguration_, liveConfiguration_);
      published = common_;
    }
    notifier_.notify(std::move(published));
  }
  Logger::log(choice, LogLevel::developer);
}

void SDKConfiguration::publish() {
  std::lock_guard order(publishMutex_);
  notifier_.notify(common());
}

void SDKConfiguration::setImageQuality(ImageQualityType quality) {
  editUserConfiguration([&](UserConfiguration& user) { user.imageQualityType = quality; });
  applyUserConfiguration();
  LiveConfiguration live = liveConfiguration();
  if (!live.useLiveConfiguration) {
    Logger::log("Set image quality to " + toString(quality), LogLevel::customer);
  } else {
    Logger::log("The image quality is overwritten with the following quality: " +
                    toString(live.imageQualityType.value_or(ImageQualityType::average)),
                LogLevel::customer);
  }
}

void SDKConfiguration::setMaskingColor(const Color& color) {
  editUserConfiguration([&](UserConfiguration& user) { user.maskingColor = color; });
  applyUserConfiguration();
  LiveConfiguration live = liveConfiguration();
  if (live.useLiveConfiguration && live.maskingColor) {
    Logger::log("The masking color is overwritten with the following color: " + *live.maskingColor,
                LogLevel::customer);
  } else {
    Logger::log("Set masking color to " + color.description(), LogLevel::customer);
  }
}

void SDKConfiguration::enableAutoMasking(const std::vector<MaskAutomatic>& list) {
  std::vector<MaskAutomatic> result;
  editUserConfiguration([&](UserConfiguration& user) {
    if (!list.empty() && contains(list, MaskAutomatic::all)) {
      user.maskingAutomatic = {MaskAutomatic::images, MaskAutomatic::inputs, MaskAutomatic::labels,
                               MaskAutomatic::webViews};
    } else {
      for (MaskAutomatic entry : list) {
        if (!contains(user.maskingAutomatic, entry)) user.maskingAutomatic.push_back(entry);
      }
    }
    result = user.maskingAutomatic;
  });
  applyUserConfiguration();
  Logger::log("Automatic masking configuration: " + maskingListText(result), LogLevel::customer);
}

void SDKConfiguration::disableAutoMasking(const std::vector<MaskAutomatic>& list) {
  std::vector<MaskAutomatic> result;
  editUserConfiguration([&](UserConfiguration& user) {
    if (contains(list, MaskAutomatic::all)) {
      user.maskingAutomatic.clear();
    } else {
      for (MaskAutomatic entry : list) std::erase(user.maskingAutomatic, entry);
    }
    result = user.maskingAutomatic;
  });
  applyUserConfiguration();
  Logger::log("Automatic masking configuration: " + maskingListText(result), LogLevel::customer);
}

void SDKConfiguration::setConsent(Consent consent) {
  editUserConfiguration([&](UserConfiguration& user) { user.userConsents = consent; });
  applyUserConfiguration();
}

void SDKConfiguration::setCaptureURLParameters(bool value) {
  editUserConfiguration([&](UserConfiguration& user) { user.captureURLParameters = value; });
  applyUserConfiguration();
}

void SDKConfiguration::setMobileDataEnable(bool value) {
  editUserConfiguration([&](UserConfiguration& user) { user.mobileDataEnable = value; });
  applyUserConfiguration();
}

void SDKConfiguration::setRetention(bool value) {
  if (common().isUserRetention) {
    Logger::log("User retention is already set for this session", LogLevel::qa);
    return;
  }
  if (value) {
    editUserConfiguration([](UserConfiguration& user) { user.userSessionCookieFlag = true; });
    applyUserConfiguration();
    editCommon([](Common& common) { common.isUserRetention = true; });
    tellDelegateSampling();
    editUserConfiguration([](UserConfiguration& user) { user.userReplaySessionFlag = true; });
    applyUserConfiguration();
    tellDelegateSampling();
  } else {
    editUserConfiguration([](UserConfiguration& user) { user.userSessionCookieFlag = false; });
    applyUserConfiguration();
    editUserConfiguration([](UserConfiguration& user) { user.userReplaySessionFlag = false; });
    applyUserConfiguration();
    editCommon([](Common& common) { common.isUserRetention = true; });
    tellDelegateSampling();
    tellDelegateSampling();
  }
}

bool SDKConfiguration::shouldCollectExperienceData() const { return obx::shouldCollectExperienceData(common()); }
bool SDKConfiguration::shouldCollectReplayData() const { return obx::shouldCollectReplayData(common()); }
SamplingFlags SDKConfiguration::webViewSamplingFlag() const { return obx::webViewSamplingFlag(common()); }

std::shared_ptr<OBXDelegate> SDKConfiguration::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_;
}

void SDKConfiguration::setDelegate(std::shared_ptr<OBXDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

void SDKConfiguration::tellDelegateSampling() const {
  auto delegate = this->delegate();
  if (!delegate) return;
  Common common = this->common();
  delegate->sampling(SamplingMultiplatform{!obx::shouldCollectExperienceData(common),
                                           !obx::shouldCollectReplayData(common)});
}

}  // namespace obx
