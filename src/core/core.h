// Core: the one object behind the static facade. It owns the effective configuration, the shared
// services (CommonDependencies) and the feature registry, and decides in one observer, on
// "obx.ombrix.core-configuration", which features exist after each change of Common: start,
// consent, sampling and blocked versions all take that one path.
// Facade calls come from any thread: they copy what they need out of the locks and never wait on
// the SDK's queues. initialize() runs on the caller's thread.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/feature.h"
#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "core/common_dependencies.h"
#include "obx/configuration.h"
#include "obx/delegate.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/process/process_info.h"

namespace obx {

class CacheController;
class DataController;
class ReachabilityObserver;
class ConfigurationAPI;
class MemoryFootprintProviding;
class TrackedEvents;
struct URLSessionDataIntercepted;
namespace platform {
class Reachability;
}

class Core : public std::enable_shared_from_this<Core> {
 public:
  using SessionURLCallback = std::function<void(const std::optional<std::string>&)>;
  // Builds a feature's core for `key` from the shared services and the feature's own store.
  // May throw; the registry catches it.
  using FeatureBuilder = std::function<std::shared_ptr<Feature>(const CommonDependencies& dependencies,
                                                                  std::shared_ptr<DataController> dataController)>;

  // The process-wide core of the facade, made on first use on platform::defaultScheduler().
  // Making it starts nothing: only the two queues and an empty registry exist until initialize().
  static std::shared_ptr<Core> shared();
  // Replaces the process-wide core, so that a test drives the facade and the C API against a core
  // it made on the manual scheduler; null makes the next shared() build a fresh one.
  static void resetShared(std::shared_ptr<Core> core);
  // Makes the platform's connectivity monitor; tests give a fake one.
  using ReachabilityFactory =
      std::function<std::shared_ptr<platform::Reachability>(std::shared_ptr<platform::Scheduler>)>;

  // `processInfo` is what the device performance monitor measures; null means the process's own.
  // Tests on virtual time give a steady one, since the real figures follow the wall clock.
  static std::shared_ptr<Core> make(std::shared_ptr<platform::Scheduler> scheduler,
                                    ReachabilityFactory reachabilityFactory = {},
                                    std::shared_ptr<platform::ProcessInfo> processInfo = nullptr);

  explicit Core(std::shared_ptr<platform::Scheduler> scheduler, ReachabilityFactory reachabilityFactory = {},
                std::shared_ptr<platform::ProcessInfo> processInfo = nullptr);
  // The monitor over the machine's network interfaces, notifying on the main queue.
  static std::shared_ptr<platform::Reachability> defaultReachability(std::shared_ptr<platform::Scheduler> scheduler);
  ~Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  void initialize(const Configuration& configuration, const Platform& platform);
  LiveConfigurationMultiplatform initialize(const Configuration& configuration, const Platform& platform,
                                            std::shared_ptr<OBXDelegate> delegate);

  // Registry. `feature` copies the entry out under the read lock; callers use it briefly.
  std::shared_ptr<Feature> feature(const std::string& key) const;
  template <typename F>
  std::shared_ptr<F> feature(const std::string& key) const {
    return std::dynamic_pointer_cast<F>(feature(key));
  }
  std::vector<std::string> registeredFeatures() const;
  // Builds the feature's store and core and registers it. False when it could not be built, when no
  // builder exists for the key in this build, or when it already exists. Rethrows the builder's error.
  bool registerFeature(const std::string& key);
  void unregisterFeature(const std::string& key);
  void setFeatureBuilder(const std::string& key, FeatureBuilder builder);

  std::optional<CommonDependencies> commonDependencies() const { return commonDependencies_.get(); }
  std::shared_ptr<SDKConfiguration> configuration() const;
  std::shared_ptr<CacheController> cacheController() const;
  std::shared_ptr<platform::Scheduler> scheduler() const { return scheduler_; }
  const std::shared_ptr<platform::DispatchQueue>& readWriteQueue() const { return queue_; }

  // Facade operations; each is harmless before initialize().
  void startNewScreen(const std::string& name, bool disableRecordingOnThisScreen);
  void stopScreen();
  void sendGoal(const std::string& name, std::optional<float> value);
  void sendDimension(const std::string& name, const std::string& value);
  void sendDimension(const std::string& name, bool value);
  void sendDimension(const std::string& name, double value);
  void sendError(const std::string& text);
  void sendHTTPError(int statusCode);
  // Hands a request that a toolkit's HTTP client measured to the network feature, which records it
  // by its own rules; dropped while that feature is not registered. `request.date` is on this
  // core's clock.
  void recordNetworkRequest(const URLSessionDataIntercepted& request);
  void formSuccess();
  // `selector`: the string tag of the field at fault, if any.
  void formError(const std::string& error, std::optional<std::string> selector = std::nullopt);
  void setConsent(Consent consent);
  void setRetention(bool value);
  void setImageQuality(ImageQualityType quality);
  void setMaskingColor(const Color& color);
  void enableAutoMasking(const std::vector<MaskAutomatic>& list);
  void disableAutoMasking(const std::vector<MaskAutomatic>& list);
  // Adds categories to mask on the next recorded screen; nothing before start-up.
  void setMaskingForCurrentScreen(const std::vector<MaskAutomatic>& list);
  void captureURLParameters(bool value);
  bool mobileDataEnable() const;
  void setMobileDataEnable(bool value);
  std::optional<std::string> sessionId() const;
  void setSessionURLCallback(SessionURLCallback callback);
  SessionURLCallback sessionURLCallback() const;
  // The portal link of the current session, when the live configuration has arrived and the
  // session is in sample. Logs "Session link: " with it.
  std::optional<std::string> sessionURL() const;
  std::optional<std::string> webViewProperties() const;
  std::shared_ptr<OBXDelegate> delegate() const;

  static std::optional<std::string> sdkVersion();
  static std::optional<std::string> appVersion();

  // Runs the feature decisions for `common` now, on the calling thread. The observer calls it on
  // "obx.ombrix.core-configuration".
  void onConfigurationChanged(const Common& common);

 private:
  std::optional<CommonDependencies> buildCommonDependencies();
  std::shared_ptr<DataController> buildDataController();
  std::shared_ptr<CacheController> buildCacheController();
  // The message of the first blocked list that holds this build's version, if any.
  std::optional<std::string> blockedVersionMessage(const Common& common) const;
  void stopFeatures(const std::vector<const char*>& keys, const std::optional<CommonDependencies>& dependencies);
  void registerFeatureBuilders();
  std::shared_ptr<ObserverValue<Common>> configurationUpdate();
  void handOverDelegate();

  // Glue to the services of this build (core_services.cc): where each service joins Core.
  std::shared_ptr<ReachabilityObserver> buildReachability();
  std::shared_ptr<ConfigurationAPI> buildConfigurationAPI();
  void startConfigurationFetch();
  void startServices(const CommonDependencies& dependencies);
  void stopServices(const CommonDependencies& dependencies);
  static bool eventBusAvailable();
  void recordTrackedEvent(const std::function<void(TrackedEvents&)>& record) const;
  static std::shared_ptr<const MemoryFootprintProviding> memoryFootprint(const CommonDependencies& dependencies);
  static void forceNewScreen(const CommonDependencies& dependencies, const std::string& name, bool disableRecording);
  static void clearScreen(const CommonDependencies& dependencies);
  std::optional<std::string> publicSessionID() const;
  // The session ID and the lead ID of the current session.
  std::optional<std::pair<std::string, std::string>> sessionIdentifiers() const;

  std::shared_ptr<platform::Scheduler> scheduler_;
  ReachabilityFactory reachabilityFactory_;
  std::shared_ptr<platform::ProcessInfo> processInfo_;
  ReadWriteLock<std::map<std::string, std::shared_ptr<Feature>>> features_;
  ReadWriteLock<std::optional<CommonDependencies>> commonDependencies_;
  ReadWriteLock<std::shared_ptr<SDKConfiguration>> configuration_;
  ReadWriteLock<std::shared_ptr<CacheController>> cacheController_;
  ReadWriteLock<std::shared_ptr<ConfigurationAPI>> configurationAPI_;
  ReadWriteLock<std::shared_ptr<ReachabilityObserver>> reachability_;
  std::shared_ptr<platform::DispatchQueue> queue_;
  std::shared_ptr<platform::DispatchQueue> queueConfiguration_;
  bool isSessionURLNotified_ = false;  // only touched on queueConfiguration_
  std::once_flag configurationUpdateOnce_;
  // Start-up runs once at a time: a second caller meanwhile is told the SDK is initialized.
  std::atomic<bool> initializing_{false};
  // Set once the configuration observer is subscribed: a later initialize (while blocked, when
  // the dependencies are absent) neither rebuilds the services nor subscribes it again.
  std::atomic<bool> configurationSubscribed_{false};
  std::shared_ptr<ObserverValue<Common>> configurationUpdate_;
  std::once_flag multiplatformOnce_;
  std::shared_ptr<ObserverValue<Common>> multiplatformUpdate_;

  ReadWriteLock<std::map<std::string, FeatureBuilder>> builders_;
  ReadWriteLock<Platform> platform_;

  // Facade slots.
  ReadWriteLock<bool> mobileDataEnable_{true};
  ReadWriteLock<SessionURLCallback> sessionURLCallback_;
  ReadWriteLock<std::shared_ptr<OBXDelegate>> delegate_;
};

}  // namespace obx
