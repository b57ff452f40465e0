// ReachabilityObserver: the network's state as a Notifier value (absent-or-present
// ReachabilityConnection), from a platform Reachability. Consumers observe it and never ask the
// platform. Reachability callbacks come on the monitor's notification queue (the main queue).
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/notifier.h"
#include "lifecycle/reachability_observing.h"
#include "platform/reachability/reachability.h"

namespace obx {

class ReachabilityObserver : public ReachabilityObserving, public std::enable_shared_from_this<ReachabilityObserver> {
 public:
  // Not yet wired up: call start(). `notifier` starts at `none`.
  static std::shared_ptr<ReachabilityObserver> make(
      std::shared_ptr<platform::Reachability> reachability,
      std::shared_ptr<Notifier<std::optional<ReachabilityConnection>>> notifier);
  ReachabilityObserver(std::shared_ptr<platform::Reachability> reachability,
                       std::shared_ptr<Notifier<std::optional<ReachabilityConnection>>> notifier);
  ~ReachabilityObserver() override;

  // Publishes the current connection, installs the callbacks and starts the monitor. A monitor that
  // cannot start is logged; the observer then keeps its last value.
  void start();

  void add(std::shared_ptr<ReachabilityObserverValue> observer) override { notifier_->observe(std::move(observer)); }
  void remove(const std::shared_ptr<ReachabilityObserverValue>& observer) override { notifier_->remove(observer); }
  std::optional<ReachabilityConnection> connection() const override;

  static ReachabilityConnection map(platform::Reachability::Connection connection);

 private:
  void update();

  std::shared_ptr<platform::Reachability> reachability_;
  std::shared_ptr<Notifier<std::optional<ReachabilityConnection>>> notifier_;
  mutable std::mutex mutex_;
  std::optional<ReachabilityConnection> connection_ = ReachabilityConnection::none;
};

}  // namespace obx
