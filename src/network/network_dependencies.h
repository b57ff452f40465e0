// NetworkDependencies: the shared services the network core is built on, cut from
// CommonDependencies. A null service is neither observed nor read.
#pragma once

#include <memory>

namespace obx {

class BatchCoordinatorObserving;
class SDKConfiguration;
class AppLifeCycleObserving;

struct NetworkDependencies {
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator;
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<AppLifeCycleObserving> appCycle;
};

}  // namespace obx
