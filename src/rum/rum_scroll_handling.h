// RUMScrollHandling: what RUMCore needs of the scroll capture: start it for a new screen, and take
// the scrolls collected so far when the screen ends. Called on RUMCore's queues.
#pragma once

#include <vector>

#include "store/events/payloads.h"

namespace obx {

class RUMScrollHandling {
 public:
  virtual ~RUMScrollHandling() = default;
  virtual void start() = 0;
  // The scrolls of the screen since `start`, emptying the list.
  virtual std::vector<Scroll> takeScrolls() = 0;
  // Stops listening to scroll views for good; the core is going away.
  virtual void stop() {}
};

}  // namespace obx
