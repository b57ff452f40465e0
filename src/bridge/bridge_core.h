// BridgeCore: tells the sibling SDKs on the bus this SDK's public session and lead identifiers, and
// records the identifiers they announce as custom dimensions ("vkCCID", "zrtTID"), so that the
// products' sessions can be joined on the server.
//
// Threads: every change of the subscription and every emit is a barrier block on the concurrent
// "obx.ombrix.feature.Bridge", so they are serial with each other. The session and configuration
// observers run on a serial queue of their own, so that two session changes are told in the order
// they happened. Incoming events come on the emitter's thread; their handling only logs and hands a
// dimension to TrackedEvents.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "bridge/bridge_dependencies.h"
#include "bridge/obx_event_bus.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"
#include "session/session_context.h"

namespace obx {

class DataController;

class BridgeCore final : public platform::TandemSubscriber, public std::enable_shared_from_this<BridgeCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.Bridge";

  // Builds the core, observes the configuration and then takes allowBridgeCommunication from the
  // current Common (subscribing when it is true, on the observer queue), observes the sessions and
  // announces the current session, if any.
  static std::shared_ptr<BridgeCore> make(BridgeDependencies dependencies,
                                          std::shared_ptr<DataController> dataController,
                                          std::shared_ptr<OBXEventBus> eventBus,
                                          std::shared_ptr<platform::Scheduler> scheduler);
  // Ends the subscription at once and removes the observers.
  ~BridgeCore() override;
  BridgeCore(const BridgeCore&) = delete;
  BridgeCore& operator=(const BridgeCore&) = delete;

  // Both return at once; the check, its log line and the change are one barrier block on the bridge
  // queue, so calls from several threads take effect in the order they were made.
  void subscribe();
  void unsubscribe();
  // Hands `event` to the bus, or logs that it was cancelled when there is no subscription by then.
  void emit(std::shared_ptr<const platform::TandemEvent> event);

  // TandemSubscriber.
  void onEventEvent(const std::shared_ptr<const platform::TandemEvent>& event) override;
  void onSubscribeQueue(const std::vector<std::shared_ptr<const platform::TandemEvent>>& queue,
                        const std::vector<std::string>& stack) override;

  bool isSubscribed() const { return static_cast<bool>(subscription_.get()); }
  std::optional<bool> allowBridgeCommunication() const { return allowBridgeCommunication_.get(); }
  const std::shared_ptr<platform::DispatchQueue>& bridgeQueue() const { return bridgeQueue_; }

  // The first component of `identifier` at "|", without "+" and "-".
  static std::string publicIdentifier(const std::string& identifier);

 private:
  struct Token {};

 public:
  BridgeCore(Token, BridgeDependencies dependencies, std::shared_ptr<DataController> dataController,
             std::shared_ptr<OBXEventBus> eventBus, std::shared_ptr<platform::Scheduler> scheduler);

 private:
  void start();
  void configurationChanged(const Common& common);
  void sessionChanged(const std::optional<SessionContext>& session, const std::optional<SessionContext>& previous);
  std::shared_ptr<ObserverValue<std::optional<SessionContext>>> newSessionCreated();
  // The subscription, which is absent from then on.
  std::shared_ptr<platform::TandemSubscription> takeSubscription();

  BridgeDependencies dependencies_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<SDKConfiguration> configuration_;
  // Written on the observer queue, read by tests from anywhere.
  ReadWriteLock<std::optional<bool>> allowBridgeCommunication_;
  std::shared_ptr<platform::DispatchQueue> bridgeQueue_;
  std::shared_ptr<platform::DispatchQueue> observerQueue_;
  std::shared_ptr<OBXEventBus> eventBus_;
  // Read and changed in barrier blocks on the bridge queue; read by isSubscribed() from anywhere.
  ReadWriteLock<std::shared_ptr<platform::TandemSubscription>> subscription_;
  std::shared_ptr<ObserverValue<std::optional<SessionContext>>> newSessionCreated_;
  std::shared_ptr<ObserverValue<Common>> configurationUpdate_;
};

}  // namespace obx
