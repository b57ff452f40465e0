#include "platform/ui/touch_synthesizer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/touch.h"
#include "platform/ui/window.h"
#include "send_event_recorder.h"

namespace obx::platform {
namespace {

using Seen = testing::SendEventRecorder::Seen;

// What reached the run-time's "sendEvent:" and "setContentOffset:" while the test ran, through
// implementations put in place of the toolkit's own and called through to them.
class Recorder : public testing::SendEventRecorder {
 public:
  Recorder() {
    auto original = *methodGetImplementation(setOffset_)->as<SetContentOffsetSignature>();
    setOffsetBefore_ = methodSetImplementation(
        setOffset_, Implementation::make<SetContentOffsetSignature>([this, original](Object& view, Point offset) {
          const auto& scroll = static_cast<ScrollView&>(view);
          offsets.push_back({&scroll, offset, scroll.isDragging(), scroll.isDecelerating()});
          original(view, offset);
        }));
  }
  ~Recorder() { methodSetImplementation(setOffset_, setOffsetBefore_); }

  struct Offset {
    const ScrollView* view;
    Point offset;
    bool dragging;
    bool decelerating;
  };
  std::vector<Offset> offsets;

 private:
  Method* setOffset_ = ScrollView::runtimeClass()->instanceMethod(selectors::setContentOffset);
  IMP setOffsetBefore_;
};

class TouchSynthesizerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<Window>();
    window_->makeKeyAndVisible();
  }

  std::shared_ptr<ManualScheduler> scheduler_ = ManualScheduler::make();
  std::shared_ptr<Application> application_ = Application::resetShared(scheduler_);
  std::shared_ptr<Window> window_;
  TouchSynthesizer synthesizer_{application_, [this](double seconds) { scheduler_->advance(seconds); }};
  Recorder recorder_;
};

// A tap is two events, began then ended 0.1 s later, on the view under the finger, whose
// recognisers come after those of the views above it; the toolkit's own handling sees both.
TEST_F(TouchSynthesizerTest, TapOnNestedViews) {
  auto list = std::make_shared<ScrollView>(Rect::make(0, 100, 390, 600));
  list->setContentSize({390, 2000});
  list->setContentOffset({0, 50});
  auto row = std::make_shared<View>(Rect::make(0, 100, 390, 44));
  auto tap = std::make_shared<GestureRecognizer>(GestureRecognizerKind::tap);
  window_->addSubview(list);
  list->addSubview(row);
  row->addGestureRecognizer(tap);
  recorder_.offsets.clear();
  const double start = scheduler_->now();
  const auto delivered = application_->eventsDelivered();

  synthesizer_.tap({20, 160});  // row spans y 150 to 194 in the window
  ASSERT_EQ(recorder_.events.size(), 2u);
  EXPECT_EQ(application_->eventsDelivered(), delivered + 2);
  const Seen& began = recorder_.events[0].at(0);
  const Seen& ended = recorder_.events[1].at(0);
  EXPECT_EQ(began.phase, TouchPhase::began);
  EXPECT_EQ(ended.phase, TouchPhase::ended);
  EXPECT_EQ(began.view, row.get());
  EXPECT_EQ(began.location, (Point{20, 160}));
  EXPECT_NEAR(ended.timestamp - began.timestamp, 0.1, 1e-6);
  EXPECT_EQ(began.timestamp, start);
  EXPECT_EQ(began.recognizers, (std::vector<std::shared_ptr<GestureRecognizer>>{list->panGestureRecognizer(), tap}));
  EXPECT_EQ(list->panGestureRecognizer()->view(), list);
  EXPECT_TRUE(recorder_.offsets.empty());  // a tap moves nothing

  auto touch = synthesizer_.touchAt({20, 160});
  EXPECT_EQ(touch->locationInView(row.get()), (Point{20, 10}));
  EXPECT_EQ(touch->locationInView(list.get()), (Point{20, 110}));
}

// A drag moves the innermost scrollable view with the finger, dragging while the finger is down and
// stopping at the content's edge; a fling glides on, slowing, to a stop.
TEST_F(TouchSynthesizerTest, DragAndFling) {
  auto outer = std::make_shared<ScrollView>(Rect::make(0, 0, 390, 844));
  outer->setContentSize({390, 3000});
  auto inner = std::make_shared<ScrollView>(Rect::make(0, 0, 390, 400));
  inner->setContentSize({390, 700});
  window_->addSubview(outer);
  outer->addSubview(inner);

  struct Case {
    const char* name;
    Point from, to;
    bool fling;
    const ScrollView* moved;
    double finalY;  // < 0: beyond the finger's own travel
  };
  const Case cases[] = {
      {"drag in the inner view", {10, 350}, {10, 150}, false, inner.get(), 200},
      {"drag past the inner view's end", {10, 350}, {10, 0}, false, inner.get(), 300},
      {"drag in the outer view", {10, 800}, {10, 500}, false, outer.get(), 300},
      {"fling in the outer view", {10, 800}, {10, 500}, true, outer.get(), -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    recorder_.events.clear();
    recorder_.offsets.clear();
    const double before = c.moved->contentOffset().y;
    if (c.fling) {
      synthesizer_.fling(c.from, c.to, 3, 0.15);
    } else {
      synthesizer_.drag(c.from, c.to, 4, 0.4);
    }
    std::vector<TouchPhase> phases;
    for (const auto& event : recorder_.events) phases.push_back(event.at(0).phase);
    EXPECT_EQ(phases.front(), TouchPhase::began);
    EXPECT_EQ(phases.back(), TouchPhase::ended);
    EXPECT_EQ(phases.size(), c.fling ? 5u : 6u);
    ASSERT_FALSE(recorder_.offsets.empty());
    const std::size_t moves = c.fling ? 3 : 4;
    for (std::size_t i = 0; i < recorder_.offsets.size(); ++i) {
      const auto& offset = recorder_.offsets[i];
      EXPECT_EQ(offset.view, c.moved);
      EXPECT_EQ(offset.dragging, i < moves) << i;
      EXPECT_EQ(offset.decelerating, i >= moves) << i;
    }
    EXPECT_FALSE(c.moved->isDragging());
    EXPECT_FALSE(c.moved->isDecelerating());
    if (c.finalY >= 0) {
      EXPECT_EQ(recorder_.offsets.size(), moves);
      EXPECT_EQ(c.moved->contentOffset().y, c.finalY);
    } else {
      // The glide goes on past the finger's 300 points, each frame shorter than the one before.
      EXPECT_GT(c.moved->contentOffset().y, before + 300);
      for (std::size_t i = moves + 1; i < recorder_.offsets.size(); ++i) {
        EXPECT_LT(recorder_.offsets[i].offset.y - recorder_.offsets[i - 1].offset.y,
                  recorder_.offsets[i - 1].offset.y - (i >= 2 ? recorder_.offsets[i - 2].offset.y : before));
      }
    }
  }
}

// Without a key window no touch is made and nothing is sent.
TEST_F(TouchSynthesizerTest, NothingWithoutKeyWindow) {
  window_->resignAndRemove();
  EXPECT_EQ(synthesizer_.touchAt({10, 10}), nullptr);
  synthesizer_.tap({10, 10});
  synthesizer_.fling({10, 500}, {10, 100}, 3, 0.1);
  EXPECT_TRUE(recorder_.events.empty());
}

}  // namespace
}  // namespace obx::platform
