#include "platform/eventbus/tandem_event_bus.h"

#include <algorithm>
#include <array>

namespace obx::platform {
namespace {

std::mutex loadedMutex;
std::shared_ptr<TandemEventBus>& loadedBus() {
  static auto* bus = new std::shared_ptr<TandemEventBus>();
  return *bus;
}

constexpr std::array<const char*, 9> kClassNames = {
    "TandemEventBus",  "TandemEvent",    "TandemSubscription",        "TandemVKEvent",         "TandemZRTEvent",
    "TandemOBXEvent",  "TandemSubscriber", "TandemOBXSessionIdUpdated", "TandemOBXLeadIdUpdated"};

}  // namespace

std::shared_ptr<TandemEventBus> TandemEventBus::load() {
  std::lock_guard lock(loadedMutex);
  if (!loadedBus()) loadedBus() = std::make_shared<TandemEventBus>();
  return loadedBus();
}

void TandemEventBus::unload() {
  std::shared_ptr<TandemEventBus> dropped;
  {
    std::lock_guard lock(loadedMutex);
    dropped = std::move(loadedBus());
    loadedBus().reset();
  }
}

std::shared_ptr<TandemEventBus> TandemEventBus::shared() {
  std::lock_guard lock(loadedMutex);
  return loadedBus();
}

bool TandemEventBus::classExists(const std::string& name) {
  if (!shared()) return false;
  return std::any_of(kClassNames.begin(), kClassNames.end(), [&](const char* known) { return name == known; });
}

std::shared_ptr<TandemSubscription> TandemEventBus::subscribe(const std::shared_ptr<TandemSubscriber>& subscriber) {
  if (!subscriber) return nullptr;
  std::vector<std::shared_ptr<const TandemEvent>> queue;
  std::vector<std::string> stack;
  std::uint64_t identifier = 0;
  {
    std::lock_guard lock(mutex_);
    identifier = nextIdentifier_++;
    subscribers_.push_back(Entry{identifier, subscriber});
    queue.assign(queue_.begin(), queue_.end());
    stack = stack_;
  }
  auto subscription = std::make_shared<TandemSubscription>(weak_from_this(), identifier);
  subscriber->onSubscribeQueue(queue, stack);
  return subscription;
}

void TandemEventBus::emitEvent(const std::shared_ptr<const TandemEvent>& event) {
  if (!event) return;
  std::vector<std::shared_ptr<TandemSubscriber>> receivers;
  {
    std::lock_guard lock(mutex_);
    queue_.push_back(event);
    if (queue_.size() > kQueueCapacity) queue_.pop_front();
    std::string name = event->className();
    stack_.erase(std::remove(stack_.begin(), stack_.end(), name), stack_.end());
    stack_.insert(stack_.begin(), name);
    // Subscribers that are gone leave with this pass.
    std::erase_if(subscribers_, [](const Entry& entry) { return entry.subscriber.expired(); });
    for (const auto& entry : subscribers_) {
      if (auto subscriber = entry.subscriber.lock()) receivers.push_back(std::move(subscriber));
    }
  }
  for (const auto& receiver : receivers) receiver->onEventEvent(event);
}

std::size_t TandemEventBus::subscriberCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(subscribers_.begin(), subscribers_.end(),
                                                [](const Entry& entry) { return !entry.subscriber.expired(); }));
}

void TandemEventBus::removeSubscriber(std::uint64_t identifier) {
  std::lock_guard lock(mutex_);
  std::erase_if(subscribers_, [&](const Entry& entry) { return entry.identifier == identifier; });
}

}  // namespace obx::platform
