// RUMDependencies: the shared services the analytics core is built on, cut from CommonDependencies.
// A service that is not part of this build may be null; the core then neither observes nor reads it.
#pragma once

#include <memory>

namespace obx {

class Metrics;
class AppLifeCycleObserving;
class ScreenDetectionObserving;
class DevicePerformanceObserving;
class TrackedEventsObserving;
class SDKConfiguration;
class SessionLifeCycleObserving;
class ReachabilityObserving;
class RUMPlaceholderProviding;
class BatchCoordinatorObserving;

struct RUMDependencies {
  std::shared_ptr<Metrics> metrics;
  std::shared_ptr<AppLifeCycleObserving> appCycle;
  std::shared_ptr<ScreenDetectionObserving> screenDetector;  // held, not observed
  std::shared_ptr<DevicePerformanceObserving> devicePerformance;
  std::shared_ptr<TrackedEventsObserving> trackedEvents;
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<SessionLifeCycleObserving> sessions;
  std::shared_ptr<ReachabilityObserving> reachability;
  std::shared_ptr<RUMPlaceholderProviding> imagePlaceholderBuilder;
  std::shared_ptr<BatchCoordinatorObserving> batchCoordinator;
};

}  // namespace obx
