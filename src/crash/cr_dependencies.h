// CRDependencies: the shared services the crash core is built on, cut from CommonDependencies.
#pragma once

#include <memory>

namespace obx {

class ScreenDetectionObserving;
class BatchCoordinatorObserving;

struct CRDependencies {
  std::shared_ptr<ScreenDetectionObserving> screenDetector;
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator;
};

}  // namespace obx
