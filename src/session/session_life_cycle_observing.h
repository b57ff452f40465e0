// SessionLifeCycleObserving: what the rest of the SDK sees of SessionLifeCycle: subscriptions to
// the session stream and the current session. Any thread may call it.
#pragma once

#include <memory>
#include <optional>

#include "base/observer_value.h"
#include "session/session_context.h"

namespace obx {

using SessionObserverValue = ObserverValue<std::optional<SessionContext>>;

class SessionLifeCycleObserving {
 public:
  virtual ~SessionLifeCycleObserving() = default;
  virtual void add(std::shared_ptr<SessionObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<SessionObserverValue>& observer) = 0;
  // The current session; absent only before the first one opened.
  virtual std::optional<SessionContext> sessionContext() const = 0;
};

}  // namespace obx
