#include "lifecycle/obx_reachability.h"

namespace obx {
namespace {

std::string errorText(OBXReachabilityError::Kind kind, int errorNumber) {
  const char* names[] = {"failedToCreateWithAddress", "failedToCreateWithHostname", "unableToSetCallback",
                         "unableToSetDispatchQueue", "unableToGetFlags"};
  return std::string(names[static_cast<int>(kind)]) + "(" + std::to_string(errorNumber) + ")";
}

}  // namespace

OBXReachabilityError::OBXReachabilityError(Kind kind, int errorNumber)
    : std::runtime_error(errorText(kind, errorNumber)), kind(kind), errorNumber(errorNumber) {}

std::shared_ptr<OBXReachability> OBXReachability::make(std::shared_ptr<platform::Scheduler> scheduler,
                                                       std::shared_ptr<platform::NetworkReachability> reachabilityRef,
                                                       std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                                       std::shared_ptr<platform::DispatchQueue> notificationQueue,
                                                       bool allowsCellularConnection) {
  return std::make_shared<OBXReachability>(std::move(scheduler), std::move(reachabilityRef),
                                           std::move(notificationCenter), std::move(notificationQueue),
                                           allowsCellularConnection);
}

OBXReachability::OBXReachability(std::shared_ptr<platform::Scheduler> scheduler,
                                 std::shared_ptr<platform::NetworkReachability> reachabilityRef,
                                 std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                 std::shared_ptr<platform::DispatchQueue> notificationQueue,
                                 bool allowsCellularConnection)
    : allowsCellularConnection_(allowsCellularConnection),
      notificationCenter_(std::move(notificationCenter)),
      reachabilityRef_(std::move(reachabilityRef)),
      reachabilitySerialQueue_(platform::DispatchQueue::makeSerial(std::move(scheduler), "obx.reachability")),
      notificationQueue_(std::move(notificationQueue)) {}

OBXReachability::~OBXReachability() { stopNotifier(); }

bool OBXReachability::notifierRunning() const {
  std::lock_guard lock(mutex_);
  return notifierRunning_;
}

std::string OBXReachability::flagsDescription() const {
  std::lock_guard lock(mutex_);
  if (!flags_) return "unavailable flags";
  std::string text;
  text += (*flags_ & platform::kIsWWANFlag) ? "W" : "-";
  text += (*flags_ & platform::kReachableFlag) ? "R" : "-";
  return text;
}

void OBXReachability::setWhenReachable(Callback callback) {
  std::lock_guard lock(mutex_);
  whenReachable_ = std::move(callback);
}

void OBXReachability::setWhenUnreachable(Callback callback) {
  std::lock_guard lock(mutex_);
  whenUnreachable_ = std::move(callback);
}

void OBXReachability::startNotifier() {
  {
    std::lock_guard lock(mutex_);
    if (notifierRunning_) return;
  }
  if (!reachabilityRef_) throw OBXReachabilityError(OBXReachabilityError::Kind::failedToCreateWithAddress, 0);
  std::weak_ptr<OBXReachability> weak = weak_from_this();
  int error = 0;
  if (!reachabilityRef_->setCallback(
          [weak](platform::ReachabilityFlags flags) {
            if (auto self = weak.lock()) self->flagsChanged(flags);
          },
          &error)) {
    stopNotifier();
    throw OBXReachabilityError(OBXReachabilityError::Kind::unableToSetCallback, error);
  }
  if (!reachabilityRef_->setDispatchQueue(reachabilitySerialQueue_, &error)) {
    stopNotifier();
    throw OBXReachabilityError(OBXReachabilityError::Kind::unableToSetDispatchQueue, error);
  }
  reachabilitySerialQueue_->sync([this] { setReachabilityFlags(); });
  std::lock_guard lock(mutex_);
  notifierRunning_ = true;
}

void OBXReachability::stopNotifier() {
  if (reachabilityRef_) {
    reachabilityRef_->setCallback(nullptr);
    reachabilityRef_->setDispatchQueue(nullptr);
  }
  std::lock_guard lock(mutex_);
  notifierRunning_ = false;
}

void OBXReachability::setReachabilityFlags() {
  int error = 0;
  auto flags = reachabilityRef_ ? reachabilityRef_->getFlags(&error) : std::nullopt;
  if (!flags) return;  // an error here is dropped: the connection stays unknown
  flagsChanged(*flags);
}

platform::Reachability::Connection OBXReachability::connection() {
  bool known;
  {
    std::lock_guard lock(mutex_);
    known = flags_.has_value();
  }
  if (!known) reachabilitySerialQueue_->sync([this] { setReachabilityFlags(); });
  std::lock_guard lock(mutex_);
  if (!flags_ || (*flags_ & platform::kReachableFlag) == 0) return Connection::unavailable;
  if ((*flags_ & platform::kIsWWANFlag) != 0) {
    if (!allowsCellularConnection_ || !reachableOnWWAN_) return Connection::unavailable;
    return Connection::cellular;
  }
  return Connection::wifi;
}

void OBXReachability::flagsChanged(platform::ReachabilityFlags flags) {
  {
    std::lock_guard lock(mutex_);
    if (flags_ && *flags_ == flags) return;
    flags_ = flags;
  }
  std::weak_ptr<OBXReachability> weak = weak_from_this();
  auto run = [weak] {
    if (auto self = weak.lock()) self->notifyReachabilityChanged();
  };
  if (notificationQueue_) {
    notificationQueue_->async(run);
  } else {
    run();
  }
}

void OBXReachability::notifyReachabilityChanged() {
  Callback callback;
  const bool up = connection() != Connection::unavailable;
  {
    std::lock_guard lock(mutex_);
    callback = up ? whenReachable_ : whenUnreachable_;
  }
  if (callback) callback(*this);
  if (notificationCenter_) notificationCenter_->post(kOBXReachabilityChangedNotification, nullptr);
}

}  // namespace obx
