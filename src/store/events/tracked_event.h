// TrackedEvent: an event that travels through the internal event channel before it is written
// (the tracked-events notifier); never written to disk as such.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "store/events/event.h"

namespace obx {

struct TrackedEvent {
  TrackedEvent() = default;
  TrackedEvent(EventType type, Payload payload) : eventType(type), data(std::move(payload)) {}

  EventType eventType = EventType::session;
  Payload data;
  // Shared by every copy of one sent event: the same event can reach a core twice (through the
  // channel and as the last event a new core reads at its start) but is written once.
  std::shared_ptr<std::atomic<bool>> written = std::make_shared<std::atomic<bool>>(false);

  // True the first time it is called for this event, across all copies; false afterwards.
  bool claimWrite() const { return !written || !written->exchange(true); }

  bool operator==(const TrackedEvent& other) const { return eventType == other.eventType && data == other.data; }
};

}  // namespace obx
