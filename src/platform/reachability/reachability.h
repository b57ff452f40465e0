// Reachability: whether the network is up, and over what, with callbacks on change. The SDK's
// monitor (OBXReachability) implements it over a NetworkReachability; tests drive consumers with a
// fake. Callbacks run on the queue the implementation was given.
#pragma once

#include <functional>

namespace obx::platform {

class Reachability {
 public:
  // `none` is what a monitor answers before it has started.
  enum class Connection { none, unavailable, wifi, cellular };
  using Callback = std::function<void(Reachability&)>;

  virtual ~Reachability() = default;
  virtual Connection connection() = 0;
  virtual void setWhenReachable(Callback callback) = 0;
  virtual void setWhenUnreachable(Callback callback) = 0;
  // Starts watching; may throw an error value with a `description` when the platform refuses.
  virtual void startNotifier() = 0;
  virtual void stopNotifier() = 0;
};

}  // namespace obx::platform
