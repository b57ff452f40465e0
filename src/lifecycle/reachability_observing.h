// ReachabilityObserving: what consumers of connectivity see of ReachabilityObserver.
#pragma once

#include <memory>
#include <optional>

#include "base/observer_value.h"
#include "lifecycle/app_state_cycle.h"

namespace obx {

using ReachabilityObserverValue = ObserverValue<std::optional<ReachabilityConnection>>;

class ReachabilityObserving {
 public:
  virtual ~ReachabilityObserving() = default;
  virtual void add(std::shared_ptr<ReachabilityObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<ReachabilityObserverValue>& observer) = 0;
  // The last connection the platform reported; absent before the first report.
  virtual std::optional<ReachabilityConnection> connection() const = 0;
};

}  // namespace obx
