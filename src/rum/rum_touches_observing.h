// RUMTouchesObserving: what RUMCore needs of the touch capture: subscribe to the touches of each
// event of the application, and start the capture. Observers run on their own queues.
#pragma once

#include <memory>
#include <vector>

#include "base/observer_value.h"
#include "rum/rum_touch_wrapper.h"

namespace obx {

using TouchesObserverValue = ObserverValue<std::vector<RUMTouchWrapper>>;

class RUMTouchesObserving {
 public:
  virtual ~RUMTouchesObserving() = default;
  virtual void add(std::shared_ptr<TouchesObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<TouchesObserverValue>& observer) = 0;
  // Starts seeing the application's events; a failure is logged and leaves touches off.
  virtual void start() = 0;
};

}  // namespace obx
