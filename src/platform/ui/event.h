// Event: what the system delivers to the application through `sendEvent:`. A touch event carries
// every touch on the screen at that moment, each in its current phase; other kinds (motion, remote
// control, presses) carry no touches and answer an absent `allTouches`. Main queue only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/touch.h"

namespace obx::platform {

enum class EventKind { touches, motion, remoteControl, presses };

class Event : public Object {
 public:
  OBX_RUNTIME_CLASS(Event, "Event", Object)
  Event(EventKind type, double timestamp) : type_(type), timestamp_(timestamp) { setDeclaredClass(runtimeClass()); }

  EventKind type() const { return type_; }
  double timestamp() const { return timestamp_; }

  // The touches of a touch event, in the order the system lists them; absent for other kinds.
  const std::optional<std::vector<std::shared_ptr<Touch>>>& allTouches() const { return allTouches_; }
  void setAllTouches(std::vector<std::shared_ptr<Touch>> touches) { allTouches_ = std::move(touches); }

 private:
  EventKind type_;
  double timestamp_;
  std::optional<std::vector<std::shared_ptr<Touch>>> allTouches_;
};

}  // namespace obx::platform
