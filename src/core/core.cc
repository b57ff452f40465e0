#include "core/core.h"

#include <algorithm>
#include <utility>

#include "base/logger.h"
#include "config/bundle_versions.h"
#include "config/live_configuration_multiplatform.h"
#include "platform/crash/alternate_signal_stack.h"
#include "platform/dispatch/scheduler.h"
#include "session/tracked_events.h"
#include "store/cache_controller.h"

namespace obx {
namespace {

bool listHolds(const std::optional<StringList>& list, const std::optional<std::string>& version) {
  if (!list || !version) return false;
  return std::find(list->begin(), list->end(), *version) != list->end();
}

std::mutex sharedMutex;

// Never destroyed: a facade call may still arrive while the process exits.
std::shared_ptr<Core>& sharedInstance() {
  static auto* instance = new std::shared_ptr<Core>();
  return *instance;
}

}  // namespace

std::shared_ptr<Core> Core::shared() {
  std::lock_guard lock(sharedMutex);
  auto& instance = sharedInstance();
  if (!instance) instance = make(platform::defaultScheduler());
  return instance;
}

void Core::resetShared(std::shared_ptr<Core> core) {
  std::shared_ptr<Core> previous;
  {
    std::lock_guard lock(sharedMutex);
    previous = std::exchange(sharedInstance(), std::move(core));
  }
  // Destroyed outside the lock: its features' destructors may call back into the facade.
}

std::shared_ptr<Core> Core::make(std::shared_ptr<platform::Scheduler> scheduler,
                                 ReachabilityFactory reachabilityFactory,
                                 std::shared_ptr<platform::ProcessInfo> processInfo) {
  return std::make_shared<Core>(std::move(scheduler), std::move(reachabilityFactory), std::move(processInfo));
}

Core::Core(std::shared_ptr<platform::Scheduler> scheduler, ReachabilityFactory reachabilityFactory,
           std::shared_ptr<platform::ProcessInfo> processInfo)
    : scheduler_(std::move(scheduler)),
      reachabilityFactory_(std::move(reachabilityFactory)),
      processInfo_(processInfo ? std::move(processInfo) : platform::ProcessInfo::processInfo()),
      queue_(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write")),
      queueConfiguration_(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.core-configuration")) {
  registerSDKBundleVersion();
  registerFeatureBuilders();
}

Core::~Core() {
  if (auto configuration = configuration_.get()) {
    if (configurationUpdate_) configuration->removeObserver(configurationUpdate_);
    if (multiplatformUpdate_) configuration->removeObserver(multiplatformUpdate_);
  }
}

std::shared_ptr<SDKConfiguration> Core::configuration() const { return configuration_.get(); }
std::shared_ptr<CacheController> Core::cacheController() const { return cacheController_.get(); }

std::optional<std::string> Core::sdkVersion() { return bundleSDKVersion(); }

std::optional<std::string> Core::appVersion() { return bundleAppVersion(); }

// ---- Start-up ----

void Core::initialize(const Configuration& configuration, const Platform& platform) {
  if (initializing_.exchange(true)) {
    Logger::log("OmbrixSDK is already initialized", LogLevel::public_);
    return;
  }
  struct EndOfStartUp {
    std::atomic<bool>& flag;
    ~EndOfStartUp() { flag.store(false); }
  } endOfStartUp{initializing_};
  // The host's thread that starts the SDK, its main thread as a rule, gets a stack for the crash
  // handlers, so that its stack overflow is reported too.
  platform::AlternateSignalStack::ensureForCurrentThread();
  try {
    if (commonDependencies_.get() || configurationSubscribed_.load()) {
      Logger::log("OmbrixSDK is already initialized", LogLevel::public_);
      return;
    }
    Logger::log("OmbrixOBX initializing . . .", LogLevel::public_);
    platform_.set(platform);
    auto cacheController = buildCacheController();
    // A retried initialize (after dependencies failed) keeps the configuration already made.
    auto sdkConfiguration = configuration_.get();
    if (!sdkConfiguration) {
      sdkConfiguration = std::make_shared<SDKConfiguration>(configuration, platform, scheduler_, cacheController);
    }
    auto reachability = buildReachability();
    cacheController_.set(cacheController);
    configuration_.set(sdkConfiguration);
    reachability_.set(reachability);
    configurationAPI_.set(buildConfigurationAPI());

    std::optional<CommonDependencies> dependencies;
    try {
      dependencies = buildCommonDependencies();
    } catch (...) {
      dependencies.reset();
    }
    if (!dependencies) {
      Logger::log("Error initialize OmbrixOBX SDK", LogLevel::public_);
      return;
    }
    commonDependencies_.set(dependencies);

    auto update = configurationUpdate();
    Common current = sdkConfiguration->common();
    update->deliver(current, current);
    sdkConfiguration->addObserver(update);
    configurationSubscribed_.store(true);

    startConfigurationFetch();
    Logger::log("OmbrixOBX dependencies loaded", LogLevel::developer);
    Logger::log("OmbrixOBX initialized", LogLevel::public_);
  } catch (...) {
    Logger::log("Error initialize OmbrixOBX SDK", LogLevel::public_);
  }
}

LiveConfigurationMultiplatform Core::initialize(const Configuration& configuration, const Platform& platform,
                                                std::shared_ptr<OBXDelegate> delegate) {
  initialize(configuration, platform);
  delegate_.set(delegate);
  auto sdkConfiguration = configuration_.get();
  if (!sdkConfiguration) return LiveConfigurationMultiplatform{};
  sdkConfiguration->setDelegate(delegate);
  std::call_once(multiplatformOnce_, [&] {
    auto queue = platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.core-configuration-multiplatform");
    std::weak_ptr<Core> weak = weak_from_this();
    multiplatformUpdate_ = ObserverValue<Common>::make(queue, [weak](const Common&, const Common&) {
      if (auto self = weak.lock()) self->handOverDelegate();
    });
    Common current = sdkConfiguration->common();
    multiplatformUpdate_->deliver(current, current);
    sdkConfiguration->addObserver(multiplatformUpdate_);
  });
  return toMultiplatform(sdkConfiguration->liveConfiguration());
}

std::shared_ptr<ObserverValue<Common>> Core::configurationUpdate() {
  std::call_once(configurationUpdateOnce_, [this] {
    std::weak_ptr<Core> weak = weak_from_this();
    configurationUpdate_ = ObserverValue<Common>::make(queueConfiguration_, [weak](const Common& common, const Common&) {
      if (auto self = weak.lock()) self->onConfigurationChanged(common);
    });
  });
  return configurationUpdate_;
}

// ---- Registry ----

std::shared_ptr<Feature> Core::feature(const std::string& key) const {
  return features_.read([&](const auto& map) -> std::shared_ptr<Feature> {
    auto found = map.find(key);
    return found == map.end() ? nullptr : found->second;
  });
}

std::vector<std::string> Core::registeredFeatures() const {
  return features_.read([](const auto& map) {
    std::vector<std::string> keys;
    for (const auto& entry : map) keys.push_back(entry.first);
    return keys;
  });
}

void Core::setFeatureBuilder(const std::string& key, FeatureBuilder builder) {
  builders_.mutate([&](auto& map) { map[key] = std::move(builder); });
}

bool Core::registerFeature(const std::string& key) {
  if (feature(key)) return false;
  auto dependencies = commonDependencies_.get();
  if (!dependencies) return false;
  FeatureBuilder builder = builders_.read([&](const auto& map) -> FeatureBuilder {
    auto found = map.find(key);
    return found == map.end() ? FeatureBuilder{} : found->second;
  });
  if (!builder) return false;
  auto dataController = buildDataController();
  if (!dataController) return false;
  std::shared_ptr<Feature> built = builder(*dependencies, std::move(dataController));
  if (!built) return false;
  features_.mutate([&](auto& map) { map.emplace(key, std::move(built)); });
  return true;
}

void Core::unregisterFeature(const std::string& key) {
  std::shared_ptr<Feature> removed;
  features_.mutate([&](auto& map) {
    auto found = map.find(key);
    if (found == map.end()) return;
    removed = std::move(found->second);
    map.erase(found);
  });
  // Destroyed here, outside the lock: its destructor undoes hooks and subscriptions.
  removed.reset();
}

// ---- Configuration observer ----

std::optional<std::string> Core::blockedVersionMessage(const Common& common) const {
  static const std::string kApp = "This version of the app has been blocked";
  static const std::string kSDK = "This version of the SDK has been blocked";
  auto app = appVersion();
  auto sdk = sdkVersion();
  std::optional<std::string> platformVersion = common.platform.version;
  if (listHolds(common.appVersionsBlocked, app)) return kApp;
  if (listHolds(common.sdkVersionsBlocked, sdk)) return kSDK;
  if (listHolds(common.blockedFlutterAppVersions, app)) return kApp;
  if (common.platform.type == PlatformType::flutter && listHolds(common.blockedFlutterSDKVersions, platformVersion)) {
    return kSDK;
  }
  if (listHolds(common.blockedRNAppVersions, app)) return kApp;
  if (common.platform.type == PlatformType::reactNative && listHolds(common.blockedRNSDKVersions, platformVersion)) {
    return kSDK;
  }
  return std::nullopt;
}

void Core::stopFeatures(const std::vector<const char*>& keys, const std::optional<CommonDependencies>& dependencies) {
  for (const char* key : keys) unregisterFeature(key);
  if (dependencies) stopServices(*dependencies);
}

void Core::onConfigurationChanged(const Common& common) {
  try {
    if (auto message = blockedVersionMessage(common)) {
      Logger::log(*message, LogLevel::public_);
      stopFeatures({FeatureKey::kCrashReport, FeatureKey::kRUM, FeatureKey::kSVR, FeatureKey::kUpload,
                    FeatureKey::kNetwork, FeatureKey::kBridge},
                   commonDependencies_.get());
      commonDependencies_.set(std::nullopt);
      return;
    }
    Logger::log("OmbrixOBX version is not blocked", LogLevel::developer);
    if (!commonDependencies_.get()) {
      std::optional<CommonDependencies> rebuilt;
      try {
        rebuilt = buildCommonDependencies();
      } catch (...) {
        rebuilt.reset();
      }
      commonDependencies_.set(rebuilt);
    }
    auto dependencies = commonDependencies_.get();
    const std::vector<const char*> stopOrder = {FeatureKey::kRUM, FeatureKey::kCrashReport, FeatureKey::kSVR,
                                                FeatureKey::kNetwork, FeatureKey::kBridge};
    if (!configuration_.get() || common.userConsents == Consent::none) {
      stopFeatures(stopOrder, dependencies);
      return;
    }
    if (common.isLiveConfigFinished && !shouldCollectExperienceData(common)) {
      stopFeatures(stopOrder, dependencies);
      return;
    }
    if (dependencies) startServices(*dependencies);
    registerFeature(FeatureKey::kUpload);
    if (!common.networkAnalytics) {
      unregisterFeature(FeatureKey::kNetwork);
    } else {
      registerFeature(FeatureKey::kNetwork);
    }
    if (common.crashReporterEnabled) registerFeature(FeatureKey::kCrashReport);
    try {
      registerFeature(FeatureKey::kRUM);
    } catch (const std::exception& error) {
      Logger::log(std::string("Error register features: ") + error.what(), LogLevel::developer);
      return;
    } catch (...) {
      Logger::log("Error register features: unknown error", LogLevel::developer);
      return;
    }
    bool replayConsent = common.userConsents == Consent::analyticsAndRecording ||
                         common.platform.type == PlatformType::flutter;
    if (replayConsent && shouldCollectReplayData(common)) {
      registerFeature(FeatureKey::kSVR);
    } else {
      unregisterFeature(FeatureKey::kSVR);
    }
    if (common.isLiveConfigFinished && eventBusAvailable()) {
      if (!common.allowBridgeCommunication.value_or(false)) {
        unregisterFeature(FeatureKey::kBridge);
      } else {
        registerFeature(FeatureKey::kBridge);
      }
    }
    Logger::log("OmbrixOBX configuration updated", LogLevel::developer);
    if (!isSessionURLNotified_ && common.isLiveConfigFinished) {
      if (auto callback = sessionURLCallback_.get()) {
        callback(sessionURL());
        isSessionURLNotified_ = true;
      } else {
        Logger::log("OmbrixOBX public sessionURL is not set", LogLevel::developer);
      }
    }
  } catch (...) {
    Logger::log("Error register features: unknown error", LogLevel::developer);
  }
}

// ---- Facade operations ----

void Core::startNewScreen(const std::string& name, bool disableRecordingOnThisScreen) {
  auto configuration = configuration_.get();
  auto dependencies = commonDependencies_.get();
  if (configuration && configuration->common().manualScreenTracking && dependencies && dependencies->screenDetector) {
    forceNewScreen(*dependencies, name, disableRecordingOnThisScreen);
    return;
  }
  Logger::log("Start screen manually is not allowed, set manualScreenTracking 'true' on the initialize method",
              LogLevel::developer);
}

void Core::stopScreen() {
  auto configuration = configuration_.get();
  auto dependencies = commonDependencies_.get();
  if (configuration && configuration->common().manualScreenTracking && dependencies && dependencies->screenDetector) {
    clearScreen(*dependencies);
    return;
  }
  Logger::log("Stop screen manually is not allowed, set manualScreenTracking 'true' on the initialize method",
              LogLevel::developer);
}

void Core::setConsent(Consent consent) {
  if (auto configuration = configuration_.get()) configuration->setConsent(consent);
  Logger::log("Set consent to " + toString(consent), LogLevel::customer);
}

void Core::setRetention(bool value) {
  if (auto configuration = configuration_.get()) configuration->setRetention(value);
}

void Core::setImageQuality(ImageQualityType quality) {
  if (auto configuration = configuration_.get()) configuration->setImageQuality(quality);
}

void Core::setMaskingColor(const Color& color) {
  if (auto configuration = configuration_.get()) configuration->setMaskingColor(color);
}

void Core::enableAutoMasking(const std::vector<MaskAutomatic>& list) {
  if (auto configuration = configuration_.get()) configuration->enableAutoMasking(list);
}

void Core::disableAutoMasking(const std::vector<MaskAutomatic>& list) {
  if (auto configuration = configuration_.get()) configuration->disableAutoMasking(list);
}

void Core::captureURLParameters(bool value) {
  if (auto configuration = configuration_.get()) configuration->setCaptureURLParameters(value);
}

bool Core::mobileDataEnable() const { return mobileDataEnable_.get(); }

void Core::setMobileDataEnable(bool value) {
  mobileDataEnable_.set(value);
  auto configuration = configuration_.get();
  if (!configuration) return;
  configuration->setMobileDataEnable(value);
  Logger::log(value ? "Enabled the sending of data through mobile data" : "Disabled sending data through mobile data",
              LogLevel::customer);
}

void Core::setSessionURLCallback(SessionURLCallback callback) {
  sessionURLCallback_.set(callback);
  auto configuration = configuration_.get();
  if (configuration && configuration->common().isLiveConfigFinished && callback) callback(sessionURL());
}

Core::SessionURLCallback Core::sessionURLCallback() const { return sessionURLCallback_.get(); }

std::shared_ptr<OBXDelegate> Core::delegate() const { return delegate_.get(); }

std::optional<std::string> Core::sessionURL() const {
  auto configuration = configuration_.get();
  if (!configuration) return std::nullopt;
  Common common = configuration->common();
  if (!common.isLiveConfigFinished || !shouldCollectExperienceData(common)) return std::nullopt;
  auto session = publicSessionID();
  if (!session) return std::nullopt;
  std::string url = common.endpoint.sessionURLPrefix() + "sg-" + common.property + "-" + *session;
  Logger::log("Session link: " + url, LogLevel::customer);
  return url;
}

std::optional<std::string> Core::webViewProperties() const {
  auto configuration = configuration_.get();
  auto dependencies = commonDependencies_.get();
  if (!configuration || !dependencies) return std::nullopt;
  auto identifiers = sessionIdentifiers();
  if (!identifiers) return std::nullopt;
  std::string sessionPart = identifiers->first.substr(0, identifiers->first.find('|'));
  std::erase_if(sessionPart, [](char c) { return c == '+' || c == '-'; });
  std::string text = "qv_sid=" + sessionPart + "&qv_lid=" + identifiers->second + "&qv_from_native=1";
  Common common = configuration->common();
  if (common.isLiveConfigFinished) {
    text += "&qv_in_sample=" + std::to_string(static_cast<int>(obx::webViewSamplingFlag(common)));
  }
  Logger::log("Get webview properties: " + text, LogLevel::developer);
  return text;
}

}  // namespace obx

namespace obx {

void Core::sendGoal(const std::string& name, std::optional<float> value) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendGoal(name, value); });
  Logger::log("Save goal " + name, LogLevel::customer);
}

void Core::sendDimension(const std::string& name, const std::string& value) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendDimension(name, value); });
  Logger::log("Save Custom Dimension " + name, LogLevel::customer);
}

void Core::sendDimension(const std::string& name, bool value) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendDimension(name, value); });
  Logger::log("Save Custom Dimension " + name, LogLevel::customer);
}

void Core::sendDimension(const std::string& name, double value) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendDimension(name, value); });
  Logger::log("Save Custom Dimension " + name, LogLevel::customer);
}

void Core::sendError(const std::string& text) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendError(text); });
  Logger::log("Save App Error: " + text, LogLevel::customer);
}

void Core::sendHTTPError(int statusCode) {
  recordTrackedEvent([&](TrackedEvents& events) { events.sendHTTPError(statusCode); });
  Logger::log("Save HTTP Error: " + std::to_string(statusCode), LogLevel::customer);
}

void Core::formSuccess() {
  recordTrackedEvent([](TrackedEvents& events) { events.formSuccess(); });
  Logger::log("Save the\u00A0correct submission of the form", LogLevel::customer);
}

void Core::formError(const std::string& error, std::optional<std::string> selector) {
  recordTrackedEvent([&](TrackedEvents& events) { events.formError(error, std::move(selector)); });
  Logger::log("Save\u00A0an error in the form", LogLevel::customer);
}

}  // namespace obx
