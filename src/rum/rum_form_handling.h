// RUMFormHandling: what RUMCore needs of the form capture: start it for a new screen, hand it the
// application's form results, and take the form events ("form-meta", "form-view", "field-view")
// when the screen ends. Called on RUMCore's queues.
#pragma once

#include <vector>

#include "lifecycle/view_context.h"
#include "store/events/tracked_event.h"

namespace obx {

class RUMFormHandling {
 public:
  virtual ~RUMFormHandling() = default;
  virtual void start(const ViewContext& viewContext) = 0;
  virtual void handle(const FormSuccess& result) = 0;
  // The screen's form events in the order they are written, emptying the list.
  virtual std::vector<TrackedEvent> takeFormEvents() = 0;
};

}  // namespace obx
