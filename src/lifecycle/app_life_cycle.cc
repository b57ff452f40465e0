#include "lifecycle/app_life_cycle.h"

#include "base/logger.h"
#include "platform/ui/notification_names.h"

namespace obx {

std::shared_ptr<AppLifeCycle> AppLifeCycle::make(std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                                 std::shared_ptr<Notifier<AppStateCycle>> notifier) {
  auto cycle = std::make_shared<AppLifeCycle>(std::move(notificationCenter), std::move(notifier));
  cycle->subscribe();
  return cycle;
}

AppLifeCycle::AppLifeCycle(std::shared_ptr<platform::NotificationCenter> notificationCenter,
                           std::shared_ptr<Notifier<AppStateCycle>> notifier)
    : notificationCenter_(std::move(notificationCenter)), notifier_(std::move(notifier)) {}

AppLifeCycle::~AppLifeCycle() {
  if (!notificationCenter_) return;
  for (auto token : tokens_) notificationCenter_->removeObserver(token);
}

void AppLifeCycle::subscribe() {
  if (!notificationCenter_) return;
  std::weak_ptr<AppLifeCycle> weak = shared_from_this();
  auto on = [&](const char* name, void (AppLifeCycle::*handler)()) {
    tokens_.push_back(notificationCenter_->addObserver(name, nullptr, [weak, handler](const platform::Notification&) {
      if (auto self = weak.lock()) ((*self).*handler)();
    }));
  };
  on(platform::kApplicationDidBecomeActiveNotification, &AppLifeCycle::appDidBecomeActive);
  on(platform::kApplicationWillResignActiveNotification, &AppLifeCycle::appWillResignActive);
  on(platform::kApplicationDidEnterBackgroundNotification, &AppLifeCycle::appDidEnterBackground);
  on(platform::kApplicationWillEnterForegroundNotification, &AppLifeCycle::appWillEnterForeground);
}

void AppLifeCycle::publish(AppStateCycle state) {
  state_.store(state);
  if (notifier_) notifier_->notify(state);
}

void AppLifeCycle::appDidBecomeActive() {
  Logger::log("App did become active", LogLevel::qa);
  publish(AppStateCycle::active);
}

void AppLifeCycle::appWillResignActive() { publish(AppStateCycle::inactive); }

void AppLifeCycle::appDidEnterBackground() {
  Logger::log("App did enter to background", LogLevel::qa);
  publish(AppStateCycle::background);
}

void AppLifeCycle::appWillEnterForeground() { publish(AppStateCycle::inactive); }

}  // namespace obx
