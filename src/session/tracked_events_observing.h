// TrackedEventsObserving: the channel of events the application sends through the facade (goals,
// dimensions, errors, form results), as the analytics core sees it. Any thread may call it.
#pragma once

#include <memory>
#include <optional>

#include "base/observer_value.h"
#include "store/events/tracked_event.h"

namespace obx {

using TrackedEventObserverValue = ObserverValue<std::optional<TrackedEvent>>;

class TrackedEventsObserving {
 public:
  virtual ~TrackedEventsObserving() = default;
  virtual void add(std::shared_ptr<TrackedEventObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<TrackedEventObserverValue>& observer) = 0;
  // The last event sent, or absent before the first.
  virtual std::optional<TrackedEvent> event() const = 0;
};

}  // namespace obx
