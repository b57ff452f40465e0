// The bridge on the real scheduler, for the sanitizer builds above all: siblings speak from many
// threads while the subscription comes and goes and sessions renew; the core is then dropped while
// they still speak. And the server's configuration changes while the bridge starts.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "base/notifier.h"
#include "bridge/bridge_core.h"
#include "bridge/tandem_event_bus_adapter.h"
#include "platform/dispatch/real_scheduler.h"
#include "session/session_life_cycle_observing.h"
#include "session/tracked_events.h"

namespace obx {
namespace {

class PublishedSessions final : public SessionLifeCycleObserving {
 public:
  explicit PublishedSessions(std::shared_ptr<platform::Scheduler> scheduler)
      : notifier_(std::move(scheduler), std::nullopt, "SessionContext") {}
  void add(std::shared_ptr<SessionObserverValue> observer) override { notifier_.observe(std::move(observer)); }
  void remove(const std::shared_ptr<SessionObserverValue>& observer) override { notifier_.remove(observer); }
  std::optional<SessionContext> sessionContext() const override { return notifier_.value(); }
  void open(int index) { notifier_.notify(SessionContext{std::to_string(index) + "|00", "lead", std::nullopt}); }

 private:
  Notifier<std::optional<SessionContext>> notifier_;
};

// Keeps the session identifiers this SDK announces, in the order they arrive.
class Sibling final : public platform::TandemSubscriber {
 public:
  void onEventEvent(const std::shared_ptr<const platform::TandemEvent>& event) override {
    if (!dynamic_cast<const platform::TandemOBXSessionIdUpdated*>(event.get())) return;
    std::lock_guard lock(mutex);
    sessions.push_back(std::stoi(*event->stringPayload()));
  }
  void onSubscribeQueue(const std::vector<std::shared_ptr<const platform::TandemEvent>>&,
                        const std::vector<std::string>&) override {}
  std::mutex mutex;
  std::vector<int> sessions;
};

// Sessions renewed one after another reach the siblings in the order they opened, whatever the
// subscription and the other siblings do meanwhile; once the core is gone it is off the bus.
TEST(BridgeCoreRealScheduler, SessionsKeepTheirOrderUnderTraffic) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  auto configuration = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform::native(), scheduler);
  configuration->editLiveConfiguration([](LiveConfiguration& live) { live.allowBridgeCommunication = true; });
  configuration->applyLiveConfiguration();
  auto sessions = std::make_shared<PublishedSessions>(scheduler);
  auto trackedEvents = std::make_shared<TrackedEvents>(nullptr);
  auto bus = std::make_shared<platform::TandemEventBus>();
  auto sibling = std::make_shared<Sibling>();
  auto siblingSubscription = bus->subscribe(sibling);
  auto core = BridgeCore::make(BridgeDependencies{configuration, trackedEvents, sessions}, nullptr,
                               std::make_shared<TandemEventBusAdapter>(bus), scheduler);

  constexpr int kEvents = 300;
  constexpr int kSessions = 40;
  std::atomic<int> done{0};
  auto siblings = platform::DispatchQueue::makeConcurrent(scheduler, "test.siblings");
  for (int i = 0; i < kEvents; ++i) {
    siblings->async([&, i] {
      bus->emitEvent(std::make_shared<platform::TandemZRTEvent>("zrt-" + std::to_string(i)));
      done.fetch_add(1);
    });
  }
  auto toggles = platform::DispatchQueue::makeSerial(scheduler, "test.toggles");
  for (int i = 0; i < kSessions; ++i) {
    toggles->async([&, i] {
      sessions->open(i);
      if (i % 5 == 4) core->unsubscribe();
      if (i % 5 == 0) core->subscribe();
      done.fetch_add(1);
    });
  }
  ASSERT_TRUE(scheduler->runMainLoop([&] { return done.load() == kEvents + kSessions; }, 20.0));
  std::atomic<bool> drained{false};
  // The observers' work ends in barrier blocks on the bridge queue: one more barrier comes after it.
  core->emit(std::make_shared<platform::TandemOBXEvent>(std::string("last")));
  core->bridgeQueue()->asyncBarrier([&] { drained.store(true); });
  ASSERT_TRUE(scheduler->runMainLoop([&] { return drained.load(); }, 20.0));

  {
    std::lock_guard lock(sibling->mutex);
    EXPECT_FALSE(sibling->sessions.empty());
    EXPECT_TRUE(std::is_sorted(sibling->sessions.begin(), sibling->sessions.end()));
    EXPECT_EQ(std::adjacent_find(sibling->sessions.begin(), sibling->sessions.end()), sibling->sessions.end());
  }

  std::atomic<int> late{0};
  for (int i = 0; i < 50; ++i) {
    siblings->async([&] {
      bus->emitEvent(std::make_shared<platform::TandemVKEvent>(std::string("vk")));
      late.fetch_add(1);
    });
  }
  core.reset();
  ASSERT_TRUE(scheduler->runMainLoop([&] { return late.load() == 50; }, 20.0));
  EXPECT_EQ(bus->subscriberCount(), 1u);
}

// The server allows the bridge and withdraws it again on another thread while the bridge is being
// built: whatever the interleaving, the bridge ends up on the last value, off the bus.
TEST(BridgeCoreRealScheduler, ConfigurationChangesDuringStartAreNotMissed) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  auto bus = std::make_shared<platform::TandemEventBus>();
  auto server = platform::DispatchQueue::makeSerial(scheduler, "test.server");
  for (int round = 0; round < 100; ++round) {
    auto configuration = std::make_shared<SDKConfiguration>(
        Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
        Platform::native(), scheduler);
    std::atomic<bool> go{false};
    server->async([&] {
      while (!go.load()) {
      }
      for (bool allow : {true, false}) {
        configuration->editLiveConfiguration([&](LiveConfiguration& live) { live.allowBridgeCommunication = allow; });
        configuration->applyLiveConfiguration();
      }
    });
    go.store(true);
    auto core = BridgeCore::make(BridgeDependencies{configuration, std::make_shared<TrackedEvents>(nullptr), nullptr},
                                 nullptr, std::make_shared<TandemEventBusAdapter>(bus), scheduler);
    // The last value held, every change it made is posted: one more barrier comes after them.
    ASSERT_TRUE(scheduler->runMainLoop([&] { return core->allowBridgeCommunication() == std::optional<bool>(false); },
                                       20.0))
        << "round " << round;
    std::atomic<bool> drained{false};
    core->bridgeQueue()->asyncBarrier([&] { drained.store(true); });
    ASSERT_TRUE(scheduler->runMainLoop([&] { return drained.load(); }, 20.0));
    EXPECT_FALSE(core->isSubscribed()) << "round " << round;
    EXPECT_EQ(bus->subscriberCount(), 0u) << "round " << round;
    core.reset();
  }
}

}  // namespace
}  // namespace obx
