// OBXReachability: the SDK's connectivity monitor over the platform's NetworkReachability for the
// zero address. Platform callbacks arrive on "obx.reachability"; `whenReachable`, `whenUnreachable`
// and the "obxReachabilityChanged" notification run on the notification queue (the main queue).
// Callbacks hold the monitor weakly, so one arriving during destruction finds nothing.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/reachability/network_reachability.h"
#include "platform/reachability/reachability.h"
#include "platform/ui/notification_center.h"

namespace obx {

inline constexpr const char* kOBXReachabilityChangedNotification = "obxReachabilityChanged";

// What start-up of the monitor can fail with.
struct OBXReachabilityError : std::runtime_error {
  enum class Kind {
    failedToCreateWithAddress,
    failedToCreateWithHostname,
    unableToSetCallback,
    unableToSetDispatchQueue,
    unableToGetFlags
  };
  OBXReachabilityError(Kind kind, int errorNumber);
  Kind kind;
  int errorNumber;
  std::string description() const { return what(); }
};

class OBXReachability : public platform::Reachability, public std::enable_shared_from_this<OBXReachability> {
 public:
  // `notificationQueue` null means callbacks run on the reachability queue itself.
  static std::shared_ptr<OBXReachability> make(std::shared_ptr<platform::Scheduler> scheduler,
                                               std::shared_ptr<platform::NetworkReachability> reachabilityRef,
                                               std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                               std::shared_ptr<platform::DispatchQueue> notificationQueue,
                                               bool allowsCellularConnection = true);
  OBXReachability(std::shared_ptr<platform::Scheduler> scheduler,
                  std::shared_ptr<platform::NetworkReachability> reachabilityRef,
                  std::shared_ptr<platform::NotificationCenter> notificationCenter,
                  std::shared_ptr<platform::DispatchQueue> notificationQueue, bool allowsCellularConnection);
  // Takes callback and queue off the platform monitor first, so that no late callback runs.
  ~OBXReachability() override;

  Connection connection() override;
  void setWhenReachable(Callback callback) override;
  void setWhenUnreachable(Callback callback) override;
  // Throws OBXReachabilityError; does nothing when running already.
  void startNotifier() override;
  void stopNotifier() override;

  bool notifierRunning() const;
  std::string flagsDescription() const;

 private:
  void setReachabilityFlags();
  void flagsChanged(platform::ReachabilityFlags flags);
  void notifyReachabilityChanged();

  const bool reachableOnWWAN_ = true;
  const bool allowsCellularConnection_;
  std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  std::shared_ptr<platform::NetworkReachability> reachabilityRef_;
  std::shared_ptr<platform::DispatchQueue> reachabilitySerialQueue_;
  std::shared_ptr<platform::DispatchQueue> notificationQueue_;

  mutable std::mutex mutex_;
  Callback whenReachable_;
  Callback whenUnreachable_;
  bool notifierRunning_ = false;
  std::optional<platform::ReachabilityFlags> flags_;
};

}  // namespace obx
