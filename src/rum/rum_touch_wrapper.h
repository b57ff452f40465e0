// RUMTouchWrapper: one touch as the touch capture hands it to RUMCore: the event it belongs to
// ("tB", "tM" or "tE") and its record.
#pragma once

#include "store/events/event_type.h"
#include "store/events/payloads.h"

namespace obx {

struct RUMTouchWrapper {
  EventType type = EventType::touchBegan;
  Touch touch;
};

}  // namespace obx
