// SessionContext: the identity of the current session as SessionLifeCycle publishes it. The record
// is replaced whole on every change, so readers on other queues copy it without a lock.
#pragma once

#include <optional>
#include <string>

namespace obx {

struct SessionContext {
  std::string sessionID;  // UUID text and two digits, 38 characters
  std::string leadID;     // the installation's identifier, kept in the cache
  // Seconds just spent in the background; absent on a session opened at launch.
  std::optional<double> timeInBackground;
  bool operator==(const SessionContext&) const = default;
};

}  // namespace obx
