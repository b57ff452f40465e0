// The bridge between this SDK and its siblings on a bus of their own, under the manual scheduler:
// what the siblings hear of sessions, what the SDK records of theirs, and the subscription's life.
#include "bridge/bridge_core.h"
#include "bridge/tandem_event_bus_adapter.h"

#include <gtest/gtest.h>

#include <any>
#include <cstdint>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/eventbus/tandem_event_bus.h"
#include "session/tracked_events.h"
#include "store/events/tracked_event.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"

namespace obx {
namespace {

using Heard = std::vector<std::pair<std::string, std::string>>;  // class name, string payload

// Another SDK of the family on the same bus: it keeps what it hears, and speaks when told.
class Sibling final : public platform::TandemSubscriber {
 public:
  void onEventEvent(const std::shared_ptr<const platform::TandemEvent>& event) override {
    const std::string* text = event->stringPayload();
    heard.emplace_back(event->className(), text ? *text : "<not a string>");
  }
  void onSubscribeQueue(const std::vector<std::shared_ptr<const platform::TandemEvent>>&,
                        const std::vector<std::string>&) override {}
  // What it heard of this SDK, leaving out its own traffic.
  Heard heardOfOBX() const {
    Heard out;
    for (const auto& entry : heard) {
      if (entry.first.rfind("TandemOBX", 0) == 0) out.push_back(entry);
    }
    return out;
  }
  Heard heard;
};

class BridgeCoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    siblingSubscription_ = bus_->subscribe(sibling_);
    trackedEvents_->add(ObserverValue<std::optional<TrackedEvent>>::make(
        recordQueue_, [this](const std::optional<TrackedEvent>& event, const std::optional<TrackedEvent>&) {
          if (event) recorded_.push_back(*event);
        }));
    scheduler_->runUntilIdle();
  }

  void serverAllows(std::optional<bool> allow) {
    configuration_->editLiveConfiguration([&](LiveConfiguration& live) { live.allowBridgeCommunication = allow; });
    configuration_->applyLiveConfiguration();
    scheduler_->runUntilIdle();
  }
  std::shared_ptr<BridgeCore> makeCore() {
    auto core = BridgeCore::make(BridgeDependencies{configuration_, trackedEvents_, sessions_}, nullptr,
                                 std::make_shared<TandemEventBusAdapter>(bus_), scheduler_);
    scheduler_->runUntilIdle();
    return core;
  }
  // The bridge's own subscriptions: every subscriber on the bus but the sibling.
  std::size_t bridgeSubscriptions() const { return bus_->subscriberCount() - 1; }
  std::vector<CustomDimension> dimensions() const {
    std::vector<CustomDimension> out;
    for (const auto& event : recorded_) {
      if (event.eventType == EventType::dimension) out.push_back(std::get<CustomDimension>(event.data));
    }
    return out;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  std::shared_ptr<SDKConfiguration> configuration_ = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform::native(), scheduler_);
  std::shared_ptr<testing::ManualSessions> sessions_ =
      std::make_shared<testing::ManualSessions>(scheduler_, std::nullopt);
  std::shared_ptr<TrackedEvents> trackedEvents_ = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent"));
  std::shared_ptr<platform::DispatchQueue> recordQueue_ = platform::DispatchQueue::makeSerial(scheduler_, "record");
  std::vector<TrackedEvent> recorded_;
  std::shared_ptr<platform::TandemEventBus> bus_ = std::make_shared<platform::TandemEventBus>();
  std::shared_ptr<Sibling> sibling_ = std::make_shared<Sibling>();
  std::shared_ptr<platform::TandemSubscription> siblingSubscription_;
};

// A bridge made during a session tells the siblings its public session ID (first part at "|",
// without "+" and "-") and its lead ID cleaned the same way.
TEST_F(BridgeCoreTest, AnnouncesTheCurrentSessionCleaned) {
  serverAllows(true);
  sessions_->open("AB12-CD+34|07", "LE-AD+9");
  scheduler_->runUntilIdle();
  auto core = makeCore();
  EXPECT_EQ(sibling_->heardOfOBX(),
            (Heard{{"TandemOBXSessionIdUpdated", "AB12CD34"}, {"TandemOBXLeadIdUpdated", "LEAD9"}}));
  EXPECT_TRUE(logs_.contains("BridgeService subscribe", LogLevel::developer));
  EXPECT_TRUE(logs_.contains("BridgeService emit <TandemOBXSessionIdUpdated: payload = 'AB12CD34'>", LogLevel::developer));
  // The bus hands its own events back too; the bridge knows them for its own.
  EXPECT_EQ(logs_.count("BridgeService ignore OBXEvent"), 2u);
  EXPECT_TRUE(dimensions().empty());
}

// A renewed session is told once; its lead only when the lead changed too; the same session
// published again is not told.
TEST_F(BridgeCoreTest, SessionChangesTellWhatChanged) {
  serverAllows(true);
  auto core = makeCore();
  EXPECT_TRUE(sibling_->heardOfOBX().empty()) << "no session yet";
  sessions_->open("S1|00", "L1");
  scheduler_->runUntilIdle();
  sibling_->heard.clear();
  const struct {
    const char* session;
    const char* lead;
    Heard expected;
  } cases[] = {
      {"S2|00", "L1", {{"TandemOBXSessionIdUpdated", "S2"}}},
      {"S2|00", "L1", {}},
      {"S3-x|01", "L2", {{"TandemOBXSessionIdUpdated", "S3x"}, {"TandemOBXLeadIdUpdated", "L2"}}},
      {"S3-x|01", "L3", {}},
  };
  for (const auto& c : cases) {
    sessions_->open(c.session, c.lead);
    scheduler_->runUntilIdle();
    EXPECT_EQ(sibling_->heardOfOBX(), c.expected) << c.session << " " << c.lead;
    sibling_->heard.clear();
  }
}

// What the siblings announce: a string from VK or ZRT becomes a custom dimension, anything else
// is logged and recorded nowhere; this SDK's own events are ignored.
TEST_F(BridgeCoreTest, IncomingEventsBecomeDimensions) {
  serverAllows(true);
  auto core = makeCore();
  const struct {
    std::shared_ptr<const platform::TandemEvent> event;
    std::vector<CustomDimension> expected;
    std::string log;
  } cases[] = {
      {std::make_shared<platform::TandemVKEvent>(std::string("vk-7")), {{"vkCCID", std::string("vk-7")}},
       "BridgeService VK event <TandemVKEvent: payload = 'vk-7'>"},
      {std::make_shared<platform::TandemVKEvent>(42), {}, "BridgeService VK event without paylaod <TandemVKEvent: payload = 42>"},
      {std::make_shared<platform::TandemZRTEvent>(std::string("zrt-1")), {{"zrtTID", std::string("zrt-1")}},
       "BridgeService ZRT event <TandemZRTEvent: payload = 'zrt-1'>"},
      {std::make_shared<platform::TandemZRTEvent>(), {}, "BridgeService ZRT event without paylaod <TandemZRTEvent: payload = nil>"},
      {std::make_shared<platform::TandemOBXEvent>(std::string("mine")), {}, "BridgeService ignore OBXEvent"},
      {std::make_shared<platform::TandemEvent>(std::string("other")), {}, "BridgeService unsupported service"},
  };
  for (const auto& c : cases) {
    recorded_.clear();
    logs_.clear();
    bus_->emitEvent(c.event);
    scheduler_->runUntilIdle();
    EXPECT_EQ(dimensions(), c.expected) << c.event->description();
    EXPECT_TRUE(logs_.contains(c.log, LogLevel::developer)) << c.log;
  }
}

// Subscribing twice keeps the one subscription; after unsubscribing an emit is cancelled with its
// message and reaches nobody, and a second unsubscribe finds nothing to end.
TEST_F(BridgeCoreTest, SubscribeTwiceAndEmitAfterUnsubscribe) {
  serverAllows(true);
  auto core = makeCore();
  EXPECT_EQ(bridgeSubscriptions(), 1u);
  core->subscribe();
  scheduler_->runUntilIdle();
  EXPECT_TRUE(logs_.contains("BridgeService in already subscribed", LogLevel::developer));
  EXPECT_EQ(bridgeSubscriptions(), 1u);

  core->unsubscribe();
  scheduler_->runUntilIdle();
  EXPECT_TRUE(logs_.contains("BridgeService unsubscribe", LogLevel::developer));
  EXPECT_EQ(bridgeSubscriptions(), 0u);
  core->emit(std::make_shared<platform::TandemOBXSessionIdUpdated>(std::string("late")));
  scheduler_->runUntilIdle();
  EXPECT_TRUE(logs_.contains("BridgeService emit cancelled, no subscription active", LogLevel::developer));
  EXPECT_TRUE(sibling_->heardOfOBX().empty());
  core->unsubscribe();
  scheduler_->runUntilIdle();
  EXPECT_TRUE(logs_.contains("BridgeService - subscription is nil", LogLevel::developer));

  // Calls made before the queue runs take effect in their order: two subscribes make one
  // subscription, and an unsubscribe right after a subscribe ends what it made.
  core->subscribe();
  core->subscribe();
  scheduler_->runUntilIdle();
  EXPECT_EQ(bridgeSubscriptions(), 1u);
  core->unsubscribe();
  scheduler_->runUntilIdle();
  core->subscribe();
  core->unsubscribe();
  scheduler_->runUntilIdle();
  EXPECT_EQ(bridgeSubscriptions(), 0u);
}

// The bridge follows allowBridgeCommunication: absent changes nothing, true subscribes and takes
// what the siblings said before, false unsubscribes.
TEST_F(BridgeCoreTest, FollowsAllowBridgeCommunication) {
  bus_->emitEvent(std::make_shared<platform::TandemZRTEvent>(std::string("early")));
  auto core = makeCore();
  EXPECT_EQ(core->allowBridgeCommunication(), std::nullopt);
  EXPECT_EQ(bridgeSubscriptions(), 0u);

  serverAllows(true);
  EXPECT_EQ(bridgeSubscriptions(), 1u);
  EXPECT_EQ(dimensions(), (std::vector<CustomDimension>{{"zrtTID", std::string("early")}}));
  EXPECT_TRUE(logs_.contains(
      "BridgeService onSubscribe - stack [TandemZRTEvent], queue [<TandemZRTEvent: payload = 'early'>]",
      LogLevel::developer));

  serverAllows(std::nullopt);
  EXPECT_EQ(bridgeSubscriptions(), 1u);
  serverAllows(false);
  EXPECT_EQ(bridgeSubscriptions(), 0u);
  EXPECT_EQ(core->allowBridgeCommunication(), false);
}

// Destroying the core ends its subscription at once, and what it had posted reaches nobody.
TEST_F(BridgeCoreTest, DestructionEndsTheSubscription) {
  serverAllows(true);
  auto core = makeCore();
  EXPECT_EQ(bridgeSubscriptions(), 1u);
  sessions_->open("S9|00", "L9");
  scheduler_->runUntilIdle();
  sibling_->heard.clear();
  sessions_->open("S10|00", "L10");
  core.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(bridgeSubscriptions(), 0u);
  EXPECT_TRUE(sibling_->heardOfOBX().empty());
  EXPECT_EQ(configuration_->notifier().observerCount(), 0u);
}

}  // namespace
}  // namespace obx
