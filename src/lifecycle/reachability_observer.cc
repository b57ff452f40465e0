#include "lifecycle/reachability_observer.h"

#include "base/logger.h"

namespace obx {

std::shared_ptr<ReachabilityObserver> ReachabilityObserver::make(
    std::shared_ptr<platform::Reachability> reachability,
    std::shared_ptr<Notifier<std::optional<ReachabilityConnection>>> notifier) {
  return std::make_shared<ReachabilityObserver>(std::move(reachability), std::move(notifier));
}

ReachabilityObserver::ReachabilityObserver(std::shared_ptr<platform::Reachability> reachability,
                                           std::shared_ptr<Notifier<std::optional<ReachabilityConnection>>> notifier)
    : reachability_(std::move(reachability)), notifier_(std::move(notifier)) {}

ReachabilityObserver::~ReachabilityObserver() {
  if (!reachability_) return;
  reachability_->setWhenReachable(nullptr);
  reachability_->setWhenUnreachable(nullptr);
}

ReachabilityConnection ReachabilityObserver::map(platform::Reachability::Connection connection) {
  switch (connection) {
    case platform::Reachability::Connection::wifi: return ReachabilityConnection::wifi;
    case platform::Reachability::Connection::cellular: return ReachabilityConnection::cellular;
    default: return ReachabilityConnection::none;
  }
}

std::optional<ReachabilityConnection> ReachabilityObserver::connection() const {
  std::lock_guard lock(mutex_);
  return connection_;
}

void ReachabilityObserver::update() {
  ReachabilityConnection value = map(reachability_->connection());
  {
    std::lock_guard lock(mutex_);
    connection_ = value;
  }
  notifier_->notify(value);
}

void ReachabilityObserver::start() {
  if (!reachability_) return;
  update();
  std::weak_ptr<ReachabilityObserver> weak = weak_from_this();
  auto callback = [weak](platform::Reachability&) {
    if (auto self = weak.lock()) self->update();
  };
  reachability_->setWhenReachable(callback);
  reachability_->setWhenUnreachable(callback);
  try {
    reachability_->startNotifier();
  } catch (...) {
    Logger::log("Unable to start network notifier", LogLevel::developer);
  }
}

}  // namespace obx
