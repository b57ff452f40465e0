// BridgeDependencies: the shared services the bridge is built on, cut from CommonDependencies.
#pragma once

#include <memory>

namespace obx {

class SDKConfiguration;
class TrackedEvents;
class SessionLifeCycleObserving;

struct BridgeDependencies {
  std::shared_ptr<SDKConfiguration> configuration;
  std::shared_ptr<TrackedEvents> trackedEvents;
  std::shared_ptr<SessionLifeCycleObserving> sessions;
};

}  // namespace obx
