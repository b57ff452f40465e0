// SessionLifeCycle: makes and keeps the session and lead identifiers, decides whether a return from
// the background is still the same session, and tells the SDK (the session notifier, the log
// identity), the host (the "NotificationSonvelSessionURL" notification and the facade's sessionURL
// callback) and a multiplatform delegate (sampling). The first session opens in `make`, on the
// caller's thread; everything later runs on "obx.ombrix.feature.SessionLifeCycleQueue".
// `sessionContext()` may be read from any thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/notifier.h"
#include "base/read_write_lock.h"
#include "lifecycle/app_state_cycle.h"
#include "platform/dispatch/dispatch_queue.h"
#include "session/session_life_cycle_observing.h"

namespace obx {

class AppLifeCycleObserving;
class CacheController;
class SDKConfiguration;
namespace platform {
class NotificationCenter;
}

class SessionLifeCycle final : public SessionLifeCycleObserving,
                               public std::enable_shared_from_this<SessionLifeCycle> {
 public:
  using SessionNotifier = Notifier<std::optional<SessionContext>>;
  using SessionURLCallback = std::function<void(const std::optional<std::string>&)>;
  // Gives the facade's sessionURL callback at the moment it is needed (empty when none is set).
  using SessionURLCallbackProvider = std::function<SessionURLCallback()>;

  static constexpr const char* kQueueLabel = "obx.ombrix.feature.SessionLifeCycleQueue";
  static constexpr const char* kSessionURLNotification = "NotificationSonvelSessionURL";

  // Stores the services, opens the first session at once (on this thread) and subscribes to the
  // application's state. `notificationCenter` null means the shared application's centre.
  static std::shared_ptr<SessionLifeCycle> make(std::shared_ptr<platform::Scheduler> scheduler,
                                                std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving,
                                                std::shared_ptr<SessionNotifier> notifier,
                                                std::shared_ptr<SDKConfiguration> sessionConfiguration,
                                                std::shared_ptr<CacheController> cacheController,
                                                SessionURLCallbackProvider sessionURLCallback,
                                                std::shared_ptr<platform::NotificationCenter> notificationCenter = nullptr);
  ~SessionLifeCycle() override;
  SessionLifeCycle(const SessionLifeCycle&) = delete;
  SessionLifeCycle& operator=(const SessionLifeCycle&) = delete;

  void add(std::shared_ptr<SessionObserverValue> observer) override;
  void remove(const std::shared_ptr<SessionObserverValue>& observer) override;
  std::optional<SessionContext> sessionContext() const override { return sessionContext_.get(); }

  // First component of `sessionID` split at "|", without any "+" or "-"; absent when empty.
  static std::optional<std::string> publicSessionID(const std::string& sessionID);
  // "sg-<property>-<publicSessionID>", absent without a public session ID. The caller prefixes it
  // with the endpoint's session URL prefix.
  static std::optional<std::string> sessionURL(const std::string& property, const std::string& sessionID);

  const std::shared_ptr<platform::DispatchQueue>& queue() const { return sessionLifeCycleQueue_; }

 private:
  struct Token {};

 public:
  SessionLifeCycle(Token, std::shared_ptr<platform::Scheduler> scheduler,
                   std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving,
                   std::shared_ptr<SessionNotifier> notifier, std::shared_ptr<SDKConfiguration> sessionConfiguration,
                   std::shared_ptr<CacheController> cacheController, SessionURLCallbackProvider sessionURLCallback,
                   std::shared_ptr<platform::NotificationCenter> notificationCenter);

 private:
  void onAppState(AppStateCycle state);
  void activeCheck();
  void openSession(std::optional<double> timeInBackground);
  std::string leadID();
  void publish();
  void notifySessionURL(const SessionContext& context);
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateCycle();
  platform::Date now() const;

  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving_;
  std::shared_ptr<SessionNotifier> notifier_;
  std::shared_ptr<SDKConfiguration> sessionConfiguration_;
  std::shared_ptr<CacheController> cacheController_;
  ReadWriteLock<std::optional<SessionContext>> sessionContext_;
  std::optional<platform::Date> dateToBackground_;  // on the queue only, after construction
  std::shared_ptr<platform::DispatchQueue> sessionLifeCycleQueue_;
  SessionURLCallbackProvider sessionURLCallback_;
  std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateCycle_;
};

}  // namespace obx
