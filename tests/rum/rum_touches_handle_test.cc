// Touches as the store receives them: events sent to the application through its "sendEvent:", the
// touch capture's records written by the RUM core into the current batch.
#include "rum/rum_touches_handle.h"

#include <gtest/gtest.h>

#include "platform/ui/scroll_view.h"
#include "platform/ui/touch.h"
#include "rum_capture_fixture.h"

namespace obx {
namespace {

using platform::Point;
using platform::Rect;
using platform::TouchPhase;

class RUMTouchesTest : public testing::RUMCaptureTest {
 protected:
  std::shared_ptr<platform::Touch> finger(Point location) {
    auto touch = synthesizer_.touchAt(location);
    EXPECT_TRUE(touch);
    return touch;
  }
  // `record` with its scroll identifiers counted from `base`: the numbers are process-wide.
  static Json withIDs(const char* record, std::int64_t base) {
    Json touches = Json::parse(record);
    for (Json& touch : touches) {
      for (const char* key : {"sID", "pID"}) {
        if (touch.contains(key)) touch[key] = touch[key].get<std::int64_t>() + base;
      }
    }
    return touches;
  }
};

// Two fingers moving in one event keep one move: the first accepted sets the time of the last touch
// for both. Ended touches are never thinned; stationary and cancelled ones are never reported.
TEST_F(RUMTouchesTest, TwoFingersMovingInOneEventKeepOneMove) {
  makeCore();
  BatchContext batch = showScreen("Home");
  auto first = finger({10, 20});
  auto second = finger({200, 300});
  send({first, second});
  scheduler_->advance(0.5);
  first->setPhase(TouchPhase::moved);
  first->setLocationInWindow({15, 25});
  second->setPhase(TouchPhase::moved);
  second->setLocationInWindow({205, 305});
  send({first, second});
  scheduler_->advance(0.5);
  first->setPhase(TouchPhase::ended);
  second->setPhase(TouchPhase::cancelled);
  send({first, second});

  EXPECT_EQ(types(batch), (std::vector<std::string>{"session", "batch", "screen", "aM", "tB", "tM", "tE"}));
  EXPECT_EQ(payloads(batch, "tB")[0], Json::parse(R"([{"x":10,"y":20},{"x":200,"y":300}])"));
  EXPECT_EQ(payloads(batch, "tM")[0], Json::parse(R"([{"x":15,"y":25}])"));
  EXPECT_EQ(payloads(batch, "tE")[0], Json::parse(R"([{"x":15,"y":25}])"));
}

// A move is kept only when more than 200 whole milliseconds passed since the last accepted touch of
// any kind; an event whose touches are all dropped writes nothing.
TEST_F(RUMTouchesTest, MovesAreThinnedToMoreThan200Milliseconds) {
  makeCore();
  BatchContext batch = showScreen("Home");
  auto touch = finger({50, 60});
  struct Step {
    double timestamp;  // seconds of uptime, as touches carry them
    TouchPhase phase;
    int y;
  };
  const Step steps[] = {
      {10.0, TouchPhase::began, 60},
      {10.2, TouchPhase::moved, 61},       // exactly 200 ms after the start: dropped
      {10.2015, TouchPhase::moved, 62},    // 201 ms: kept
      {10.3015, TouchPhase::moved, 63},    // 100 ms after the last kept one: dropped
      {10.4015, TouchPhase::stationary, 64},  // never reported
      {10.6005, TouchPhase::moved, 65},    // 399 ms after the last kept one: kept
      {10.65, TouchPhase::ended, 66},      // an end is always kept
  };
  for (const Step& step : steps) {
    touch->setTimestamp(step.timestamp);
    touch->setPhase(step.phase);
    touch->setLocationInWindow({50, static_cast<double>(step.y)});
    synthesizer_.send({touch});
    scheduler_->advance(0.05);
  }
  EXPECT_EQ(types(batch), (std::vector<std::string>{"session", "batch", "screen", "aM", "tB", "tM", "tM", "tE"}));
  std::vector<Json> moves = payloads(batch, "tM");
  ASSERT_EQ(moves.size(), 2u);
  EXPECT_EQ(moves[0], Json::parse(R"([{"x":50,"y":62}])"));
  EXPECT_EQ(moves[1], Json::parse(R"([{"x":50,"y":65}])"));
  EXPECT_EQ(payloads(batch, "tE"), std::vector<Json>{Json::parse(R"([{"x":50,"y":66}])")});
}

// Force is reported in thousandths of the greatest possible force, the quotient truncated first:
// only a touch at full force reads 1000; a screen without force sensing reports none. Locations are
// truncated toward zero.
TEST_F(RUMTouchesTest, ForceAndLocation) {
  makeCore();
  BatchContext batch = showScreen("Home");
  struct Case {
    double force;
    double maximum;
    const char* record;
  };
  const Case cases[] = {
      {1.0, 0.0, R"([{"x":100,"y":200}])"},
      {3.0, 6.0, R"([{"x":100,"y":200,"cf":0}])"},
      {6.0, 6.0, R"([{"x":100,"y":200,"cf":1000}])"},
  };
  for (const Case& c : cases) {
    synthesizer_.setForce(c.force, c.maximum);
    synthesizer_.tap({100.9, 200.99});
    scheduler_->advance(1.0);
  }
  std::vector<Json> began = payloads(batch, "tB");
  ASSERT_EQ(began.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(began[i], Json::parse(cases[i].record)) << i;
}

// A touch in a scroll view carries its offset and identifier; one in a nested scroll view carries
// the inner view's and the outer view's identifier as its parent; the pan and pinch recognisers of
// one view count as one view; a plain view's touch carries none; the identifiers stay with the views.
TEST_F(RUMTouchesTest, ScrollIdentifiersAndParents) {
  auto outer = std::make_shared<platform::ScrollView>(Rect::make(0, 100, 390, 600));
  outer->setContentSize({390, 3000});
  window_->addSubview(outer);
  auto inner = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 390, 200));
  inner->setContentSize({2000, 200});
  outer->setZoomEnabled(true);  // its pinch recogniser must not hide the inner view
  outer->addSubview(inner);
  auto plain = std::make_shared<platform::View>(Rect::make(0, 0, 390, 100));
  window_->addSubview(plain);
  outer->setContentOffset({0, 40});
  inner->setContentOffset({120, 0});
  makeCore();
  BatchContext batch = showScreen("Home");
  const std::int64_t base = RUMTouchesHandle::nextScrollID();

  // In the window, the inner view spans y 60 to 260 (the outer one is scrolled by 40).
  synthesizer_.tap({30.5, 150});   // inner, inside outer
  synthesizer_.tap({30, 500});     // outer only
  synthesizer_.tap({30, 50});      // plain view
  synthesizer_.tap({31, 151});     // inner again: the same identifiers
  std::vector<Json> began = payloads(batch, "tB");
  ASSERT_EQ(began.size(), 4u);
  // The outer view is met first (its recogniser comes first) and takes 0; the inner one 1.
  EXPECT_EQ(began[0], withIDs(R"([{"x":30,"y":150,"oX":120,"oY":0,"sID":1,"pID":0}])", base));
  EXPECT_EQ(began[1], withIDs(R"([{"x":30,"y":500,"oX":0,"oY":40,"sID":0}])", base));
  EXPECT_EQ(began[2], Json::parse(R"([{"x":30,"y":50}])"));
  EXPECT_EQ(began[3], withIDs(R"([{"x":31,"y":151,"oX":120,"oY":0,"sID":1,"pID":0}])", base));
  auto outerID = RUMTouchesHandle::scrollViewID(*outer);
  ASSERT_TRUE(outerID);
  EXPECT_EQ(outerID->sID, base);
  EXPECT_EQ(outerID->pID, -1);  // stored, though touches leave it out
}

// Without a recogniser list, the scroll view is the last one the key window's walk finds under the
// touch; without a scroll view there, no offset.
TEST_F(RUMTouchesTest, HitWalkWithoutRecognizers) {
  auto left = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 200, 400));
  auto nested = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 200, 200));
  auto right = std::make_shared<platform::ScrollView>(Rect::make(200, 0, 190, 400));
  window_->addSubview(left);
  left->addSubview(nested);
  window_->addSubview(right);
  nested->setContentOffset({0, 7});
  makeCore();
  BatchContext batch = showScreen("Home");
  const std::int64_t base = RUMTouchesHandle::nextScrollID();
  const std::pair<Point, const char*> cases[] = {
      {{10, 10}, R"([{"x":10,"y":10,"oX":0,"oY":7,"sID":0,"pID":1}])"},  // nested gives its parent 1
      {{250, 10}, R"([{"x":250,"y":10,"oX":0,"oY":0,"sID":2}])"},
      {{100, 600}, R"([{"x":100,"y":600}])"},
  };
  for (const auto& [location, record] : cases) {
    auto touch = finger(location);
    touch->setGestureRecognizers(std::nullopt);
    send({touch});
    scheduler_->advance(1.0);
  }
  std::vector<Json> began = payloads(batch, "tB");
  ASSERT_EQ(began.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(began[i], withIDs(cases[i].second, base)) << i;
}

// Scroll identifiers stay unique when the feature is built again after a configuration change: a
// view met before keeps its number, and a view met first by the new core gets a number of its own.
TEST_F(RUMTouchesTest, ScrollIdentifiersStayUniqueAcrossARebuiltFeature) {
  auto list = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 390, 400));
  auto other = std::make_shared<platform::ScrollView>(Rect::make(0, 400, 390, 400));
  window_->addSubview(list);
  window_->addSubview(other);
  makeCore();
  BatchContext before = showScreen("Home");
  synthesizer_.tap({10, 10});
  const Json listID = payloads(before, "tB").at(0).at(0).at("sID");

  core_.reset();
  makeCore();
  BatchContext after = showScreen("Home");
  synthesizer_.tap({10, 500});
  synthesizer_.tap({10, 10});
  std::vector<Json> began = payloads(after, "tB");
  ASSERT_EQ(began.size(), 2u);
  EXPECT_NE(began[0][0]["sID"], listID);
  EXPECT_EQ(began[1][0]["sID"], listID);
}

// On Flutter the core neither hooks "sendEvent:" nor writes touches; the application still gets
// every event.
TEST_F(RUMTouchesTest, FlutterWritesNoTouches) {
  makeCore(Platform{PlatformType::flutter, "3.0.0", "Dart"});
  BatchContext batch = showScreen("Home");
  const auto before = application_->eventsDelivered();
  synthesizer_.tap({10, 10});
  synthesizer_.drag({10, 400}, {10, 100}, 5, 1.0);
  EXPECT_EQ(types(batch), (std::vector<std::string>{"session", "batch", "screen", "aM"}));
  EXPECT_EQ(application_->eventsDelivered(), before + 2 + 7);
}

// While the core lives the hooks stand in for "sendEvent:" and "setContentOffset:" and call through;
// when it goes, both implementations are the toolkit's own again and touches are no longer written.
TEST_F(RUMTouchesTest, TeardownRestoresHooks) {
  auto implementationOf = [](platform::Class* cls, const char* selector) {
    return platform::methodGetImplementation(cls->instanceMethod(selector));
  };
  const auto sendEvent = implementationOf(platform::Application::runtimeClass(), platform::selectors::sendEvent);
  const auto setOffset = implementationOf(platform::ScrollView::runtimeClass(), platform::selectors::setContentOffset);
  auto list = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 390, 800));
  list->setContentSize({390, 4000});
  window_->addSubview(list);

  makeCore();
  EXPECT_NE(implementationOf(platform::Application::runtimeClass(), platform::selectors::sendEvent), sendEvent);
  EXPECT_NE(implementationOf(platform::ScrollView::runtimeClass(), platform::selectors::setContentOffset), setOffset);
  BatchContext batch = showScreen("Home");
  const auto before = application_->eventsDelivered();
  synthesizer_.drag({100, 600}, {100, 200}, 4, 0.8);
  EXPECT_EQ(application_->eventsDelivered(), before + 6);
  EXPECT_EQ(list->contentOffset().y, 400);
  EXPECT_EQ(payloads(batch, "tB").size(), 1u);

  core_.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(implementationOf(platform::Application::runtimeClass(), platform::selectors::sendEvent), sendEvent);
  EXPECT_EQ(implementationOf(platform::ScrollView::runtimeClass(), platform::selectors::setContentOffset), setOffset);
  const std::size_t written = events(batch).size();
  synthesizer_.tap({100, 100});
  EXPECT_EQ(events(batch).size(), written);
}

}  // namespace
}  // namespace obx
