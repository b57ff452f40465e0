// SVRDependencies: the shared services session replay is built on, cut from CommonDependencies by
// Core. A service that is not part of this build may be null; the core then neither observes nor
// reads it.
#pragma once

#include <memory>

namespace obx {

class AppLifeCycleObserving;
class ScreenDetectionObserving;
class DevicePerformanceObserving;
class SDKConfiguration;
class UserMasking;
class ImagePlaceholderBuilder;
class BatchCoordinatorObserving;

struct SVRDependencies {
  std::shared_ptr<AppLifeCycleObserving> appCycle;
  std::shared_ptr<ScreenDetectionObserving> screenDetector;  // held, not observed
  std::shared_ptr<DevicePerformanceObserving> devicePerformance;
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<UserMasking> userMasking;
  std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder;
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator;
};

}  // namespace obx
