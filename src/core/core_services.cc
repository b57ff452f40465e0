// Where each shared service and feature of this build joins Core: construction of the services in
// their start order, their start and stop on configuration changes, and the feature builders.
#include "base/identifiers.h"
#include "bridge/bridge_feature.h"
#include "bridge/tandem_event_bus_adapter.h"
#include "base/logger.h"
#include "core/configuration_api.h"
#include "core/core.h"
#include "crash/cr_feature.h"
#include "crash/cr_pending_reports.h"
#include "lifecycle/app_life_cycle.h"
#include "lifecycle/batch_coordinator.h"
#include "lifecycle/device_performance.h"
#include "lifecycle/obx_reachability.h"
#include "lifecycle/reachability_observer.h"
#include "lifecycle/screen_detector.h"
#include "lifecycle/view_life_cycle.h"
#include "network/network_feature.h"
#include "platform/eventbus/tandem_event_bus.h"
#include "platform/process/process_info.h"
#include "platform/reachability/network_reachability.h"
#include "platform/ui/application.h"
#include "rum/rum_feature.h"
#include "session/image_placeholder_builder.h"
#include "session/metrics.h"
#include "session/session_life_cycle.h"
#include "session/tracked_events.h"
#include "session/user_masking.h"
#include "store/cache_controller.h"
#include "store/data_controller.h"
#include "store/data_reader.h"
#include "store/data_writer.h"
#include "store/file_storage.h"
#include "store/files/file_reader.h"
#include "store/files/file_writer.h"
#include "store/files/security.h"
#include "store/repository.h"
#include "svr/svr_feature.h"
#include "upload/http_client.h"
#include "upload/http_retrying.h"
#include "upload/upload_feature.h"

namespace obx {

void Core::registerFeatureBuilders() {
  std::weak_ptr<platform::Scheduler> weakScheduler = scheduler_;
  setFeatureBuilder(FeatureKey::kRUM, [weakScheduler](const CommonDependencies& d,
                                                      std::shared_ptr<DataController> dataController)
                                          -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    if (!scheduler) return nullptr;
    RUMDependencies dependencies{d.metrics,       d.appCycle,      d.screenDetector, d.devicePerformance,
                                 d.trackedEvents, d.configuration, d.sessionCycle,   d.reachability,
                                 d.imagePlaceholderBuilder,        d.batchCoordinator};
    return RUMFeature::make(std::move(dependencies), std::move(dataController), scheduler);
  });
  setFeatureBuilder(FeatureKey::kNetwork, [weakScheduler](const CommonDependencies& d,
                                                          std::shared_ptr<DataController> dataController)
                                              -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    if (!scheduler) return nullptr;
    auto core = NetworkCore::make(NetworkDependencies{d.batchCoordinator, d.configuration, d.appCycle},
                                  std::move(dataController), scheduler);
    if (!core) return nullptr;
    return std::make_shared<NetworkFeature>(std::move(core));
  });
  // The crash hooks write raw records, not events: the next start hands them to the store.
  setFeatureBuilder(FeatureKey::kCrashReport, [weakScheduler](const CommonDependencies& d,
                                                              std::shared_ptr<DataController>)
                                                  -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    if (!scheduler) return nullptr;
    return CRFeature::make(CRDependencies{d.screenDetector, d.batchCoordinator}, scheduler);
  });
  setFeatureBuilder(FeatureKey::kSVR, [weakScheduler](const CommonDependencies& d,
                                                      std::shared_ptr<DataController> dataController)
                                          -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    if (!scheduler) return nullptr;
    SVRDependencies dependencies{d.appCycle,      d.screenDetector,          d.devicePerformance, d.configuration,
                                 d.userMasking, d.imagePlaceholderBuilder, d.batchCoordinator};
    return SVRFeature::make(std::move(dependencies), std::move(dataController), scheduler);
  });
  setFeatureBuilder(FeatureKey::kUpload, [weakScheduler](const CommonDependencies& d,
                                                         std::shared_ptr<DataController> dataController)
                                             -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    if (!scheduler || !dataController) return nullptr;
    // What the processes that crashed left goes into their batches before the first upload pass.
    CRPendingReports(dataController).writeLeftBehind(CRCore::recordsFolder());
    auto client = std::make_shared<HTTPClient>(HTTPClient::makeSession(scheduler));
    auto retrying = std::make_shared<HTTPRetrying>(client, d.reachability, scheduler);
    auto uploader = std::make_shared<Uploader>(std::make_shared<UploadAuthorized>(), retrying, d.configuration);
    UploadDependencies dependencies{d.batchCoordinator, d.configuration, d.reachability};
    return std::make_shared<UploadFeature>(
        std::make_shared<UploadCore>(std::move(dependencies), std::move(dataController), uploader, scheduler));
  });
  setFeatureBuilder(FeatureKey::kBridge, [weakScheduler](const CommonDependencies& d,
                                                         std::shared_ptr<DataController> dataController)
                                             -> std::shared_ptr<Feature> {
    auto scheduler = weakScheduler.lock();
    auto bus = platform::TandemEventBus::shared();
    if (!scheduler || !bus) return nullptr;
    auto core = BridgeCore::make(BridgeDependencies{d.configuration, d.trackedEvents, d.sessionCycle},
                                 std::move(dataController), std::make_shared<TandemEventBusAdapter>(bus), scheduler);
    if (!core) return nullptr;
    return std::make_shared<BridgeFeature>(std::move(core));
  });
}

void Core::recordNetworkRequest(const URLSessionDataIntercepted& request) {
  if (auto network = feature<NetworkFeature>(FeatureKey::kNetwork)) network->core->record(request);
}

std::shared_ptr<CacheController> Core::buildCacheController() { return CacheController::make(queue_); }

std::shared_ptr<platform::Reachability> Core::defaultReachability(std::shared_ptr<platform::Scheduler> scheduler) {
  auto application = platform::Application::shared();
  return OBXReachability::make(scheduler, std::make_shared<platform::NetlinkReachability>(),
                               application->notificationCenter(), scheduler->mainQueue());
}

std::shared_ptr<ReachabilityObserver> Core::buildReachability() {
  auto source = reachabilityFactory_ ? reachabilityFactory_(scheduler_) : defaultReachability(scheduler_);
  if (!source) return nullptr;
  auto notifier = std::make_shared<Notifier<std::optional<ReachabilityConnection>>>(
      scheduler_, ReachabilityConnection::none, "Optional<ReachabilityConnection>");
  auto observer = ReachabilityObserver::make(source, notifier);
  observer->start();
  return observer;
}

std::shared_ptr<ConfigurationAPI> Core::buildConfigurationAPI() {
  auto configuration = configuration_.get();
  auto reachability = reachability_.get();
  if (!configuration || !reachability) return nullptr;
  auto client = std::make_shared<HTTPClient>(HTTPClient::makeSession(scheduler_));
  auto retrying = std::make_shared<HTTPRetrying>(client, reachability, scheduler_);
  return std::make_shared<ConfigurationAPI>(retrying, configuration, scheduler_);
}

void Core::startConfigurationFetch() {
  if (auto api = configurationAPI_.get()) api->fetchConfiguration();
}

std::optional<CommonDependencies> Core::buildCommonDependencies() {
  auto configuration = configuration_.get();
  auto cacheController = cacheController_.get();
  auto reachability = reachability_.get();
  if (!configuration || !cacheController || !reachability) return std::nullopt;
  auto application = platform::Application::shared();
  auto notificationCenter = application->notificationCenter();

  if (configuration->common().platform.type == PlatformType::flutter) {
    configuration->editUserConfiguration([](UserConfiguration& user) { user.sessionReplayEnabled = false; });
    configuration->applyUserConfiguration();
    configuration->editUserConfiguration([](UserConfiguration& user) { user.manualScreenTracking = true; });
    configuration->applyUserConfiguration();
  }

  CommonDependencies dependencies;
  dependencies.configuration = configuration;
  dependencies.reachability = reachability;

  auto measures = std::make_shared<Notifier<std::optional<DeviceMeasure>>>(scheduler_, std::nullopt,
                                                                           "Optional<DeviceMeasure>");
  dependencies.devicePerformance = DevicePerformance::make(scheduler_, processInfo_,
                                                           application->device(), configuration, measures);

  auto viewStates =
      std::make_shared<Notifier<ViewStateCycle>>(scheduler_, ViewStateCycle::viewDidLoad, "ViewStateCycle");
  dependencies.screenCycle = std::make_shared<ViewLifeCycle>(viewStates);

  auto appStates = std::make_shared<Notifier<AppStateCycle>>(scheduler_, AppStateCycle::active, "AppStateCycle");
  dependencies.appCycle = AppLifeCycle::make(notificationCenter, appStates);

  auto screens =
      std::make_shared<Notifier<std::optional<ViewContext>>>(scheduler_, std::nullopt, "Optional<ViewContext>");
  dependencies.screenDetector = ScreenDetector::make(scheduler_, notificationCenter, application,
                                                     dependencies.screenCycle, dependencies.appCycle, configuration,
                                                     screens);

  auto sessions = std::make_shared<SessionLifeCycle::SessionNotifier>(scheduler_, std::nullopt,
                                                                      "Optional<SessionContext>");
  std::weak_ptr<Core> weak = weak_from_this();
  dependencies.sessionCycle = SessionLifeCycle::make(
      scheduler_, dependencies.appCycle, sessions, configuration, cacheController,
      [weak]() -> SessionLifeCycle::SessionURLCallback {
        auto self = weak.lock();
        return self ? self->sessionURLCallback_.get() : SessionLifeCycle::SessionURLCallback{};
      },
      notificationCenter);

  auto trackedEvents = std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt,
                                                                      "Optional<TrackedEvent>");
  dependencies.trackedEvents = std::make_shared<TrackedEvents>(trackedEvents);
  dependencies.metrics = std::make_shared<Metrics>(configuration, 1);
  dependencies.userMasking = std::make_shared<UserMasking>();
  dependencies.imagePlaceholderBuilder =
      std::make_shared<ImagePlaceholderBuilder>(cacheController, scheduler_->mainQueue());

  auto batches =
      std::make_shared<Notifier<std::optional<BatchContext>>>(scheduler_, std::nullopt, "Optional<BatchContext>");
  dependencies.batchCoordinator = BatchCoordinator::make(scheduler_, dependencies.screenDetector, configuration,
                                                         dependencies.appCycle, batches);
  dependencies.security = std::make_shared<Security>();
  return dependencies;
}

std::shared_ptr<DataController> Core::buildDataController() {
  auto configuration = configuration_.get();
  if (!reachability_.get() || !configuration) {
    Logger::log("Error to build DataController ...", LogLevel::developer);
    return nullptr;
  }
  auto security = std::make_shared<Security>();
  auto reader = std::make_shared<DataReader>(queue_, std::make_shared<FileReader>(security));
  auto writer = std::make_shared<DataWriter>(queue_, std::make_shared<FileWriter>(security));
  auto storage = std::make_shared<FileStorage>(reader, writer);
  auto dependencies = commonDependencies_.get();
  std::shared_ptr<const MemoryFootprintProviding> footprint;
  if (dependencies) footprint = memoryFootprint(*dependencies);
  double physicalMiB = static_cast<double>(processInfo_->physicalMemory()) / (1024.0 * 1024.0);
  try {
    auto repository = std::make_shared<Repository>(configuration, storage, footprint, physicalMiB, scheduler_);
    return std::make_shared<DataController>(repository);
  } catch (const FileError& error) {
    Logger::log("Error to build DataController " + error.description, LogLevel::developer);
    return nullptr;
  }
}

std::shared_ptr<const MemoryFootprintProviding> Core::memoryFootprint(const CommonDependencies& dependencies) {
  return dependencies.devicePerformance;
}

void Core::startServices(const CommonDependencies& dependencies) {
  if (dependencies.batchCoordinator) dependencies.batchCoordinator->start(0);
}

void Core::stopServices(const CommonDependencies& dependencies) {
  if (dependencies.devicePerformance) dependencies.devicePerformance->stop();
  if (dependencies.batchCoordinator) dependencies.batchCoordinator->stop();
}

// The bus is a library of sibling SDKs that the application may or may not carry: one of its event
// classes answers whether it is in the process.
bool Core::eventBusAvailable() { return platform::TandemEventBus::classExists("TandemZRTEvent"); }

void Core::forceNewScreen(const CommonDependencies& dependencies, const std::string& name, bool disableRecording) {
  dependencies.screenDetector->forceNewScreen(name, makeUUIDString(), disableRecording);
}

void Core::clearScreen(const CommonDependencies& dependencies) { dependencies.screenDetector->clearCurrentScreen(); }

std::optional<std::pair<std::string, std::string>> Core::sessionIdentifiers() const {
  auto dependencies = commonDependencies_.get();
  if (!dependencies || !dependencies->sessionCycle) return std::nullopt;
  auto session = dependencies->sessionCycle->sessionContext();
  if (!session) return std::nullopt;
  return std::make_pair(session->sessionID, session->leadID);
}

std::optional<std::string> Core::publicSessionID() const {
  auto identifiers = sessionIdentifiers();
  if (!identifiers) return std::nullopt;
  return SessionLifeCycle::publicSessionID(identifiers->first);
}

void Core::setMaskingForCurrentScreen(const std::vector<MaskAutomatic>& list) {
  auto dependencies = commonDependencies_.get();
  if (dependencies && dependencies->userMasking) dependencies->userMasking->addAutomaticMasks(list);
}

void Core::recordTrackedEvent(const std::function<void(TrackedEvents&)>& record) const {
  auto dependencies = commonDependencies_.get();
  if (dependencies && dependencies->trackedEvents) record(*dependencies->trackedEvents);
}

std::optional<std::string> Core::sessionId() const { return publicSessionID(); }

void Core::handOverDelegate() {
  auto delegate = delegate_.get();
  if (!delegate) return;
  if (auto rum = feature<RUMFeature>(FeatureKey::kRUM)) rum->core->setDelegateIfAbsent(delegate);
}


}  // namespace obx
