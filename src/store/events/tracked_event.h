// TrackedEvent: an event that travels through the internal event channel before it is written
// (the tracked-events notifier); never written to disk as such.
#pragma once

#include "store/events/event.h"

namespace obx {

struct TrackedEvent {
  EventType eventType = EventType::session;
  Payload data;
  bool operator==(const TrackedEvent&) const = default;
};

}  // namespace obx
