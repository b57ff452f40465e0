// Where each shared service and feature of this build joins Core: construction of the services in
// their start order, their start and stop on configuration changes, and the feature builders.
#include "core/core.h"
#include "core/logger.h"

namespace obx {

void Core::registerFeatureBuilders() {}

std::shared_ptr<CacheController> Core::buildCacheController() { return nullptr; }

std::shared_ptr<ReachabilityObserver> Core::buildReachability() { return nullptr; }

std::shared_ptr<ConfigurationAPI> Core::buildConfigurationAPI() { return nullptr; }

void Core::startConfigurationFetch() {}

std::optional<CommonDependencies> Core::buildCommonDependencies() {
  auto configuration = configuration_.get();
  if (!configuration || !cacheController_.get() || !reachability_.get()) return std::nullopt;
  CommonDependencies dependencies;
  dependencies.configuration = configuration;
  dependencies.reachability = reachability_.get();
  return dependencies;
}

std::shared_ptr<DataController> Core::buildDataController() {
  if (!reachability_.get()) {
    Logger::log("Error to build DataController ...", LogLevel::developer);
    return nullptr;
  }
  return nullptr;
}

void Core::startServices(const CommonDependencies&) {}

void Core::stopServices(const CommonDependencies&) {}

bool Core::eventBusAvailable() { return false; }

void Core::forceNewScreen(const CommonDependencies&, const std::string&, bool) {}

void Core::clearScreen(const CommonDependencies&) {}

std::optional<std::string> Core::publicSessionID() const { return std::nullopt; }

std::optional<std::pair<std::string, std::string>> Core::sessionIdentifiers() const { return std::nullopt; }

std::optional<std::string> Core::sessionId() const { return publicSessionID(); }

void Core::handOverDelegate() {}


}  // namespace obx
