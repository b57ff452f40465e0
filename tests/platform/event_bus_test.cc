// The bus of sibling SDKs: present only once loaded, delivery to subscribers, the events kept for
// later subscribers, and the end of a subscription.
#include "platform/eventbus/tandem_event_bus.h"

#include <gtest/gtest.h>

namespace obx::platform {
namespace {

class Listener final : public TandemSubscriber {
 public:
  void onEventEvent(const std::shared_ptr<const TandemEvent>& event) override {
    events.push_back(event->description());
  }
  void onSubscribeQueue(const std::vector<std::shared_ptr<const TandemEvent>>& queue,
                        const std::vector<std::string>& names) override {
    for (const auto& event : queue) queued.push_back(event->description());
    stack = names;
  }
  std::vector<std::string> events;
  std::vector<std::string> queued;
  std::vector<std::string> stack;
};

// Until a sibling loads it, the bus and its classes are absent; unloading takes them away again,
// and loading twice gives the same bus.
TEST(TandemEventBus, PresentOnlyWhileLoaded) {
  ASSERT_EQ(TandemEventBus::shared(), nullptr);
  const struct {
    const char* name;
    bool loaded;
  } names[] = {{"TandemZRTEvent", true}, {"TandemVKEvent", true}, {"TandemEventBus", true}, {"UIView", false}};
  for (const auto& n : names) EXPECT_FALSE(TandemEventBus::classExists(n.name)) << n.name;
  auto bus = TandemEventBus::load();
  EXPECT_EQ(TandemEventBus::load(), bus);
  EXPECT_EQ(TandemEventBus::shared(), bus);
  for (const auto& n : names) EXPECT_EQ(TandemEventBus::classExists(n.name), n.loaded) << n.name;
  TandemEventBus::unload();
  EXPECT_EQ(TandemEventBus::shared(), nullptr);
  EXPECT_FALSE(TandemEventBus::classExists("TandemZRTEvent"));
}

// Every live subscriber hears each event, its emitter included; a late subscriber is handed what
// was said before (the last kQueueCapacity events) and the classes seen, latest first; after
// unsubscribing, or once the subscriber is gone, nothing more arrives.
TEST(TandemEventBus, DeliveryQueueAndUnsubscribe) {
  auto bus = std::make_shared<TandemEventBus>();
  auto first = std::make_shared<Listener>();
  auto subscription = bus->subscribe(first);
  EXPECT_TRUE(first->queued.empty());
  bus->emitEvent(std::make_shared<TandemZRTEvent>(std::string("z")));
  for (std::size_t i = 0; i < TandemEventBus::kQueueCapacity; ++i) bus->emitEvent(std::make_shared<TandemVKEvent>(7));
  EXPECT_EQ(first->events.size(), TandemEventBus::kQueueCapacity + 1);
  EXPECT_EQ(first->events.front(), "<TandemZRTEvent: payload = 'z'>");

  auto late = std::make_shared<Listener>();
  auto lateSubscription = bus->subscribe(late);
  EXPECT_EQ(late->queued.size(), TandemEventBus::kQueueCapacity) << "the oldest event fell out";
  EXPECT_EQ(late->queued.front(), "<TandemVKEvent: payload = 7>");
  EXPECT_EQ(late->stack, (std::vector<std::string>{"TandemVKEvent", "TandemZRTEvent"}));
  EXPECT_EQ(bus->subscriberCount(), 2u);

  subscription->unsubscribe();
  subscription->unsubscribe();
  EXPECT_FALSE(subscription->isActive());
  late.reset();
  EXPECT_EQ(bus->subscriberCount(), 0u);
  bus->emitEvent(std::make_shared<TandemOBXEvent>(std::string("after")));
  EXPECT_EQ(first->events.size(), TandemEventBus::kQueueCapacity + 1);
}

}  // namespace
}  // namespace obx::platform
