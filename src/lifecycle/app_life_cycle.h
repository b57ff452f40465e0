// AppLifeCycle: the application's state as a Notifier value, from the platform's four application
// notifications. Everything that depends on the foreground observes this and never asks the
// platform. Notifications arrive on the main queue; the state is published from there.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "base/notifier.h"
#include "lifecycle/observing.h"
#include "platform/ui/notification_center.h"

namespace obx {

class AppLifeCycle : public AppLifeCycleObserving, public std::enable_shared_from_this<AppLifeCycle> {
 public:
  // Registers for the four notifications on `notificationCenter`; `notifier` starts at `active`.
  static std::shared_ptr<AppLifeCycle> make(std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                            std::shared_ptr<Notifier<AppStateCycle>> notifier);
  AppLifeCycle(std::shared_ptr<platform::NotificationCenter> notificationCenter,
               std::shared_ptr<Notifier<AppStateCycle>> notifier);
  ~AppLifeCycle() override;

  void add(std::shared_ptr<ObserverValue<AppStateCycle>> observer) override { notifier_->observe(std::move(observer)); }
  void remove(const std::shared_ptr<ObserverValue<AppStateCycle>>& observer) override { notifier_->remove(observer); }

  AppStateCycle state() const { return state_.load(); }
  const std::shared_ptr<Notifier<AppStateCycle>>& notifier() const { return notifier_; }

  void appDidBecomeActive();
  void appWillResignActive();
  void appDidEnterBackground();
  void appWillEnterForeground();

 private:
  void subscribe();
  void publish(AppStateCycle state);

  std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  std::shared_ptr<Notifier<AppStateCycle>> notifier_;
  std::atomic<AppStateCycle> state_{AppStateCycle::active};
  std::vector<platform::NotificationCenter::Token> tokens_;
};

}  // namespace obx
