// TandemEventBus: the in-process bus the SDKs of one family share to exchange identifiers. It is not
// part of every application: the bus exists only once a sibling SDK (or the host) has loaded it with
// `load()`, and `shared()` and `classExists()` tell the others whether it is there, the way a class
// lookup at run time tells whether a library was linked.
//
// Events are kept, up to kQueueCapacity, for subscribers that come later. Delivery runs on the
// emitter's thread, outside the bus's lock, to every live subscriber in subscription order. Any
// thread may call any operation.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/eventbus/tandem_event.h"
#include "platform/eventbus/tandem_events.h"
#include "platform/eventbus/tandem_subscriber.h"
#include "platform/eventbus/tandem_subscription.h"

namespace obx::platform {

class TandemEventBus : public std::enable_shared_from_this<TandemEventBus> {
 public:
  static constexpr std::size_t kQueueCapacity = 64;

  // Loads the bus into the process, once: a second call returns the same bus.
  static std::shared_ptr<TandemEventBus> load();
  // Takes the bus out of the process again (a test that runs without it). Subscriptions made on it
  // keep working on the old bus; `shared()` answers null from now on.
  static void unload();
  // The bus when it is loaded, else null.
  static std::shared_ptr<TandemEventBus> shared();
  // Whether a class of the bus (e.g. "TandemZRTEvent") exists in the process now.
  static bool classExists(const std::string& name);

  // Adds `subscriber`, held weakly, and hands it the events kept so far through
  // `onSubscribeQueue`. Null for a null subscriber.
  std::shared_ptr<TandemSubscription> subscribe(const std::shared_ptr<TandemSubscriber>& subscriber);
  // Keeps `event` for later subscribers and delivers it to every current one.
  void emitEvent(const std::shared_ptr<const TandemEvent>& event);

  std::size_t subscriberCount() const;

 private:
  friend class TandemSubscription;
  void removeSubscriber(std::uint64_t identifier);

  struct Entry {
    std::uint64_t identifier;
    std::weak_ptr<TandemSubscriber> subscriber;
  };

  mutable std::mutex mutex_;
  std::vector<Entry> subscribers_;
  std::deque<std::shared_ptr<const TandemEvent>> queue_;
  std::vector<std::string> stack_;
  std::uint64_t nextIdentifier_ = 1;
};

}  // namespace obx::platform
