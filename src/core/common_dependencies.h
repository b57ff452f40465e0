// CommonDependencies: the shared services Core builds once per start (and again after a blocked
// version is lifted). Each feature's dependency record is cut from it. A service that is not part of
// this build stays null.
#pragma once

#include <memory>

namespace obx {

class SDKConfiguration;
class AppLifeCycle;
class ReachabilityObserver;
class ViewLifeCycle;
class SecurityManager;
class Metrics;
class SessionLifeCycle;
class ScreenDetector;
class DevicePerformance;
class TrackedEvents;
class UserMasking;
class ImagePlaceholderBuilder;
class BatchCoordinator;

struct CommonDependencies {
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<AppLifeCycle> appCycle;
  std::shared_ptr<ReachabilityObserver> reachability;
  std::shared_ptr<ViewLifeCycle> screenCycle;
  std::shared_ptr<SecurityManager> security;
  std::shared_ptr<Metrics> metrics;
  std::shared_ptr<SessionLifeCycle> sessionCycle;
  std::shared_ptr<ScreenDetector> screenDetector;
  std::shared_ptr<DevicePerformance> devicePerformance;
  std::shared_ptr<TrackedEvents> trackedEvents;
  std::shared_ptr<UserMasking> userMasking;
  std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder;
  std::shared_ptr<BatchCoordinator> batchCoordinator;
};

}  // namespace obx
