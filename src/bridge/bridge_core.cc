#include "bridge/bridge_core.h"

#include <utility>

#include "base/logger.h"
#include "platform/eventbus/tandem_events.h"
#include "session/session_life_cycle_observing.h"
#include "session/tracked_events.h"

namespace obx {
namespace {

constexpr const char* kVKDimension = "vkCCID";
constexpr const char* kZRTDimension = "zrtTID";

}  // namespace

std::shared_ptr<BridgeCore> BridgeCore::make(BridgeDependencies dependencies,
                                             std::shared_ptr<DataController> dataController,
                                             std::shared_ptr<OBXEventBus> eventBus,
                                             std::shared_ptr<platform::Scheduler> scheduler) {
  if (!eventBus || !scheduler) return nullptr;
  auto core = std::make_shared<BridgeCore>(Token{}, std::move(dependencies), std::move(dataController),
                                           std::move(eventBus), std::move(scheduler));
  core->start();
  return core;
}

BridgeCore::BridgeCore(Token, BridgeDependencies dependencies, std::shared_ptr<DataController> dataController,
                       std::shared_ptr<OBXEventBus> eventBus, std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      dataController_(std::move(dataController)),
      configuration_(dependencies_.configuration),
      bridgeQueue_(platform::DispatchQueue::makeConcurrent(scheduler, kQueueLabel)),
      observerQueue_(platform::DispatchQueue::makeSerial(scheduler, std::string(kQueueLabel) + ".observers")),
      eventBus_(std::move(eventBus)) {}

void BridgeCore::start() {
  if (configuration_) {
    std::weak_ptr<BridgeCore> weak = weak_from_this();
    // Each delivery applies the value current when it runs, not the one it carries: a value read
    // here can be queued after a newer change's delivery, and would otherwise win.
    configurationUpdate_ = ObserverValue<Common>::make(observerQueue_, [weak](const Common&, const Common&) {
      if (auto self = weak.lock()) self->configurationChanged(self->configuration_->common());
    });
    // Observed before the first delivery is queued: a change in between is delivered after it, on
    // the same serial queue, so none is missed.
    configuration_->addObserver(configurationUpdate_);
    configurationUpdate_->deliver(Common(), Common());
  }
  if (auto sessions = dependencies_.sessions) {
    sessions->add(newSessionCreated());
    if (auto current = sessions->sessionContext()) newSessionCreated()->deliver(current, std::nullopt);
  }
}

BridgeCore::~BridgeCore() {
  if (configuration_ && configurationUpdate_) configuration_->removeObserver(configurationUpdate_);
  if (dependencies_.sessions && newSessionCreated_) dependencies_.sessions->remove(newSessionCreated_);
  // Blocks still queued hold this core weakly and will find it gone: the subscription ends here.
  if (auto subscription = takeSubscription()) subscription->unsubscribe();
}

std::shared_ptr<ObserverValue<std::optional<SessionContext>>> BridgeCore::newSessionCreated() {
  if (!newSessionCreated_) {
    std::weak_ptr<BridgeCore> weak = weak_from_this();
    newSessionCreated_ = ObserverValue<std::optional<SessionContext>>::make(
        observerQueue_, [weak](const std::optional<SessionContext>& session, const std::optional<SessionContext>& previous) {
          if (auto self = weak.lock()) self->sessionChanged(session, previous);
        });
  }
  return newSessionCreated_;
}

std::shared_ptr<platform::TandemSubscription> BridgeCore::takeSubscription() {
  return subscription_.mutate([](auto& subscription) { return std::exchange(subscription, nullptr); });
}

// MARK: - Configuration and sessions

void BridgeCore::configurationChanged(const Common& common) {
  if (!common.allowBridgeCommunication) return;
  bool allowed = *common.allowBridgeCommunication;
  if (allowBridgeCommunication_.get() == allowed) return;
  allowBridgeCommunication_.set(allowed);
  if (allowed) {
    subscribe();
  } else {
    unsubscribe();
  }
}

std::string BridgeCore::publicIdentifier(const std::string& identifier) {
  std::string first = identifier.substr(0, identifier.find('|'));
  std::erase_if(first, [](char c) { return c == '+' || c == '-'; });
  return first;
}

void BridgeCore::sessionChanged(const std::optional<SessionContext>& session,
                                const std::optional<SessionContext>& previous) {
  if (!session) return;
  if (previous && previous->sessionID == session->sessionID) return;
  emit(std::make_shared<platform::TandemOBXSessionIdUpdated>(publicIdentifier(session->sessionID)));
  if (previous && previous->leadID == session->leadID) return;
  emit(std::make_shared<platform::TandemOBXLeadIdUpdated>(publicIdentifier(session->leadID)));
}

// MARK: - Subscription and emits

void BridgeCore::subscribe() {
  std::weak_ptr<BridgeCore> weak = weak_from_this();
  // The state is read where it changes, in the barrier: two callers can't both subscribe, and an
  // unsubscribe posted after a subscribe finds its subscription.
  bridgeQueue_->asyncBarrier([weak] {
    auto self = weak.lock();
    if (!self) return;
    if (self->subscription_.get()) {
      Logger::log("BridgeService in already subscribed", LogLevel::developer);
      return;
    }
    Logger::log("BridgeService subscribe", LogLevel::developer);
    self->subscription_.set(self->eventBus_->subscribe(self));
  });
}

void BridgeCore::unsubscribe() {
  std::weak_ptr<BridgeCore> weak = weak_from_this();
  bridgeQueue_->asyncBarrier([weak] {
    auto self = weak.lock();
    if (!self) return;
    auto subscription = self->takeSubscription();
    if (!subscription) {
      Logger::log("BridgeService - subscription is nil", LogLevel::developer);
      return;
    }
    Logger::log("BridgeService unsubscribe", LogLevel::developer);
    subscription->unsubscribe();
  });
}

void BridgeCore::emit(std::shared_ptr<const platform::TandemEvent> event) {
  if (!event) return;
  std::weak_ptr<BridgeCore> weak = weak_from_this();
  bridgeQueue_->asyncBarrier([weak, event = std::move(event)] {
    auto self = weak.lock();
    if (!self) return;
    if (!self->subscription_.get()) {
      Logger::log("BridgeService emit cancelled, no subscription active", LogLevel::developer);
      return;
    }
    Logger::log("BridgeService emit " + event->description(), LogLevel::developer);
    self->eventBus_->emit(event);
  });
}

// MARK: - Incoming events

void BridgeCore::onSubscribeQueue(const std::vector<std::shared_ptr<const platform::TandemEvent>>& queue,
                                  const std::vector<std::string>& stack) {
  std::string stackText;
  for (const auto& name : stack) stackText += (stackText.empty() ? "" : ", ") + name;
  std::string queueText;
  for (const auto& event : queue) {
    if (event) queueText += (queueText.empty() ? "" : ", ") + event->description();
  }
  Logger::log("BridgeService onSubscribe - stack [" + stackText + "], queue [" + queueText + "]", LogLevel::developer);
  for (const auto& event : queue) onEventEvent(event);
}

void BridgeCore::onEventEvent(const std::shared_ptr<const platform::TandemEvent>& event) {
  if (!event) return;
  auto record = [this](const char* name, const std::string& value) {
    if (dependencies_.trackedEvents) dependencies_.trackedEvents->sendDimension(name, value);
  };
  if (dynamic_cast<const platform::TandemVKEvent*>(event.get())) {
    if (const std::string* payload = event->stringPayload()) {
      Logger::log("BridgeService VK event " + event->description(), LogLevel::developer);
      record(kVKDimension, *payload);
    } else {
      Logger::log("BridgeService VK event without paylaod " + event->description(), LogLevel::developer);
    }
  } else if (dynamic_cast<const platform::TandemOBXEvent*>(event.get())) {
    Logger::log("BridgeService ignore OBXEvent", LogLevel::developer);
  } else if (dynamic_cast<const platform::TandemZRTEvent*>(event.get())) {
    if (const std::string* payload = event->stringPayload()) {
      Logger::log("BridgeService ZRT event " + event->description(), LogLevel::developer);
      record(kZRTDimension, *payload);
    } else {
      Logger::log("BridgeService ZRT event without paylaod " + event->description(), LogLevel::developer);
    }
  } else {
    Logger::log("BridgeService unsupported service", LogLevel::developer);
  }
}

}  // namespace obx
