#include "session/session_life_cycle.h"

#include "base/identifiers.h"
#include "base/logger.h"
#include "config/sdk_configuration.h"
#include "lifecycle/observing.h"
#include "platform/ui/notification_center.h"
#include "store/cache_controller.h"

namespace obx {
namespace {

// The object of the session URL notification: the URL text, which is also its description.
class SessionURLText final : public platform::Object {
 public:
  explicit SessionURLText(std::string text) : text_(std::move(text)) {}
  std::string description() const override { return text_; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string removeCharacters(std::string text, const std::string& characters) {
  std::erase_if(text, [&](char c) { return characters.find(c) != std::string::npos; });
  return text;
}

}  // namespace

std::shared_ptr<SessionLifeCycle> SessionLifeCycle::make(
    std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving,
    std::shared_ptr<SessionNotifier> notifier, std::shared_ptr<SDKConfiguration> sessionConfiguration,
    std::shared_ptr<CacheController> cacheController, SessionURLCallbackProvider sessionURLCallback,
    std::shared_ptr<platform::NotificationCenter> notificationCenter) {
  auto sessions = std::make_shared<SessionLifeCycle>(Token{}, std::move(scheduler), std::move(appLifeCycleObserving),
                                                     std::move(notifier), std::move(sessionConfiguration),
                                                     std::move(cacheController), std::move(sessionURLCallback),
                                                     std::move(notificationCenter));
  sessions->activeCheck();
  if (sessions->appLifeCycleObserving_) sessions->appLifeCycleObserving_->add(sessions->appStateCycle());
  return sessions;
}

SessionLifeCycle::SessionLifeCycle(Token, std::shared_ptr<platform::Scheduler> scheduler,
                                   std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving,
                                   std::shared_ptr<SessionNotifier> notifier,
                                   std::shared_ptr<SDKConfiguration> sessionConfiguration,
                                   std::shared_ptr<CacheController> cacheController,
                                   SessionURLCallbackProvider sessionURLCallback,
                                   std::shared_ptr<platform::NotificationCenter> notificationCenter)
    : scheduler_(std::move(scheduler)),
      appLifeCycleObserving_(std::move(appLifeCycleObserving)),
      notifier_(std::move(notifier)),
      sessionConfiguration_(std::move(sessionConfiguration)),
      cacheController_(std::move(cacheController)),
      sessionLifeCycleQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      sessionURLCallback_(std::move(sessionURLCallback)),
      notificationCenter_(std::move(notificationCenter)) {}

SessionLifeCycle::~SessionLifeCycle() {
  if (appLifeCycleObserving_ && appStateCycle_) appLifeCycleObserving_->remove(appStateCycle_);
}

void SessionLifeCycle::add(std::shared_ptr<SessionObserverValue> observer) {
  if (notifier_) notifier_->observe(std::move(observer));
}

void SessionLifeCycle::remove(const std::shared_ptr<SessionObserverValue>& observer) {
  if (notifier_) notifier_->remove(observer);
}

std::optional<std::string> SessionLifeCycle::publicSessionID(const std::string& sessionID) {
  std::string first = sessionID.substr(0, sessionID.find('|'));
  if (first.empty()) return std::nullopt;
  return removeCharacters(std::move(first), "+-");
}

std::optional<std::string> SessionLifeCycle::sessionURL(const std::string& property, const std::string& sessionID) {
  auto publicID = publicSessionID(sessionID);
  if (!publicID) return std::nullopt;
  return "sg-" + property + "-" + *publicID;
}

std::shared_ptr<ObserverValue<AppStateCycle>> SessionLifeCycle::appStateCycle() {
  if (!appStateCycle_) {
    std::weak_ptr<SessionLifeCycle> weak = weak_from_this();
    appStateCycle_ = ObserverValue<AppStateCycle>::make(sessionLifeCycleQueue_, [weak](const AppStateCycle& state,
                                                                                       const AppStateCycle&) {
      if (auto self = weak.lock()) self->onAppState(state);
    });
  }
  return appStateCycle_;
}

platform::Date SessionLifeCycle::now() const { return scheduler_->clock().now(); }

void SessionLifeCycle::onAppState(AppStateCycle state) {
  switch (state) {
    case AppStateCycle::active: activeCheck(); break;
    case AppStateCycle::background: dateToBackground_ = now(); break;
    default: break;
  }
}

void SessionLifeCycle::activeCheck() {
  auto current = sessionContext_.get();
  if (dateToBackground_ && current) {
    double elapsed = now() - *dateToBackground_;
    dateToBackground_.reset();
    if (elapsed > static_cast<double>(sessionConfiguration_->common().sessionLength)) {
      openSession(elapsed);
    } else {
      current->timeInBackground = elapsed;
      sessionContext_.set(current);
      publish();
    }
    return;
  }
  if (!current) {
    openSession(std::nullopt);
    auto opened = sessionContext_.get();
    if (!opened) return;
    Logger::log("OmbrixOBX created SID: " + publicSessionID(opened->sessionID).value_or("") +
                    " & LID: " + opened->leadID,
                LogLevel::developer);
  }
}

std::string SessionLifeCycle::leadID() {
  std::string fileName = sessionConfiguration_->common().leadIDFileName;
  if (cacheController_) {
    if (auto cached = cacheController_->read(fileName); cached && !cached->empty()) return *cached;
  }
  std::string lead = removeCharacters(makeUUIDWithTwoDigits(), "-");
  if (cacheController_) cacheController_->saveLeadID(lead, fileName);
  return lead;
}

void SessionLifeCycle::openSession(std::optional<double> timeInBackground) {
  std::string lead = leadID();
  SessionContext context{makeUUIDWithTwoDigits(), std::move(lead), timeInBackground};
  sessionContext_.set(context);
  publish();
  notifySessionURL(context);

  sessionConfiguration_->editUserConfiguration([](UserConfiguration& user) { user.userSessionCookieFlag.reset(); });
  sessionConfiguration_->applyUserConfiguration();
  sessionConfiguration_->editUserConfiguration([](UserConfiguration& user) { user.userReplaySessionFlag.reset(); });
  sessionConfiguration_->applyUserConfiguration();
  sessionConfiguration_->editCommon([](Common& common) { common.isUserRetention = false; });
  Logger::log("User retention flag has been reset", LogLevel::developer);

  sessionConfiguration_->tellDelegateSampling();
  Logger::log("New session detected with ID: " + context.sessionID, LogLevel::customer);
}

void SessionLifeCycle::publish() {
  auto context = sessionContext_.get();
  if (notifier_) notifier_->notify(context);
  if (context) {
    Logger::setLogIdentity(publicSessionID(context->sessionID).value_or("") + "_" + context->leadID);
  }
}

void SessionLifeCycle::notifySessionURL(const SessionContext& context) {
  Common common = sessionConfiguration_->common();
  auto path = sessionURL(common.property, context.sessionID);
  if (!path) return;
  std::string url = common.endpoint.sessionURLPrefix() + *path;

  auto center = notificationCenter_ ? notificationCenter_ : platform::NotificationCenter::defaultCenter();
  if (center) {
    platform::Notification notification{kSessionURLNotification, std::make_shared<SessionURLText>(url), {}};
    notification.userInfo["url"] = url;
    center->post(std::move(notification));
  }
  Logger::log("Session link: " + url, LogLevel::customer);

  if (!common.isLiveConfigFinished || !sessionURLCallback_) return;
  if (auto callback = sessionURLCallback_()) callback(url);
}

}  // namespace obx
