#include "session/tracked_events.h"

#include <gtest/gtest.h>

#include "platform/dispatch/manual_scheduler.h"

namespace obx {
namespace {

class TrackedEventsTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::DispatchQueue> queue_ = platform::DispatchQueue::makeSerial(scheduler_, "test.observer");
  std::shared_ptr<TrackedEvents::EventNotifier> notifier_ =
      std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent");
  TrackedEvents events_{notifier_};
  std::vector<Json> received_;

  void SetUp() override {
    events_.add(TrackedEventObserverValue::make(queue_, [this](const std::optional<TrackedEvent>& event, const auto&) {
      ASSERT_TRUE(event.has_value());
      received_.push_back(Json{{"t", event->eventType}, {"d", event->data}});
    }));
    scheduler_->runUntilIdle();
  }
};

// Each facade operation publishes its event type with the payload as the server reads it; without a
// notifier the last event is still kept, and nothing fails.
TEST_F(TrackedEventsTest, OperationsPublishTheirEvents) {
  events_.sendGoal("checkout", 12.5f);
  events_.sendGoal("signup", std::nullopt);
  events_.sendDimension("plan", std::string("gold"));
  events_.sendDimension("trial", true);
  events_.sendDimension("score", 2.5);
  events_.sendError("disk full");
  events_.sendHTTPError(404);
  events_.formSuccess();
  events_.formError("missing email", std::string("emailField"));
  events_.formError("bad", std::nullopt);
  scheduler_->runUntilIdle();

  const std::vector<Json> expected = {
      Json::parse(R"({"t":"goal","d":{"conid":"checkout","conc":"","conv":12.5}})"),
      Json::parse(R"({"t":"goal","d":{"conid":"signup","conc":"","conv":0.0}})"),
      Json::parse(R"({"t":"dimension","d":{"name":"plan","value":"gold"}})"),
      Json::parse(R"({"t":"dimension","d":{"name":"trial","value":true}})"),
      Json::parse(R"({"t":"dimension","d":{"name":"score","value":2.5}})"),
      Json::parse(R"({"t":"applicationError","d":{"error":"disk full"}})"),
      Json::parse(R"({"t":"httperror","d":{"error":"404"}})"),
      Json::parse(R"({"t":"formSuccess","d":{"success":true}})"),
      Json::parse(R"({"t":"formSuccess","d":{"success":false,"error":"missing email","selector":"emailField"}})"),
      Json::parse(R"({"t":"formSuccess","d":{"success":false,"error":"bad"}})"),
  };
  ASSERT_EQ(received_.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(received_[i], expected[i]) << i;
  ASSERT_TRUE(events_.event().has_value());
  EXPECT_EQ(events_.event()->eventType, EventType::formSuccess);

  TrackedEvents lonely(nullptr);
  EXPECT_FALSE(lonely.event().has_value());
  lonely.sendHTTPError(500);
  ASSERT_TRUE(lonely.event().has_value());
  EXPECT_EQ(lonely.event()->data, Payload(HTTPError{"500"}));
}

}  // namespace
}  // namespace obx
