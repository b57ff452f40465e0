// Scrolls as the store receives them: the main scroll view of each screen, dragged through the
// platform layer, and the "scroll" record the RUM core writes when the screen ends.
#include "rum/rum_scroll_handle.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/ui/scroll_view.h"
#include "rum_capture_fixture.h"

namespace obx {
namespace {

using platform::Rect;

class RUMScrollTest : public testing::RUMCaptureTest {
 protected:
  std::shared_ptr<platform::ScrollView> addList(Rect frame, double contentHeight) {
    auto list = std::make_shared<platform::ScrollView>(frame);
    list->setContentSize({frame.size.width, contentHeight});
    window_->addSubview(list);
    return list;
  }
  // The "scroll" record of `batch` as (offsetY, height, focusTime) triples, sorted: the list's order
  // carries no meaning.
  std::vector<std::tuple<double, std::int64_t, std::int64_t>> scrolls(const BatchContext& batch) {
    std::vector<std::tuple<double, std::int64_t, std::int64_t>> list;
    std::vector<Json> records = payloads(batch, "scroll");
    EXPECT_LE(records.size(), 1u);
    if (records.empty()) return list;
    for (const Json& entry : records[0]) {
      list.emplace_back(entry["oY"].get<double>(), entry["sH"].get<std::int64_t>(), entry["fT"].get<std::int64_t>());
    }
    std::sort(list.begin(), list.end());
    return list;
  }
  void dragTo(platform::ScrollView& view, double y) {
    view.beginDragging();
    view.setContentOffset({0, y});
    scheduler_->runUntilIdle();
  }
  void release(platform::ScrollView& view, double y) {
    view.setContentOffset({0, y});
    view.endDragging(false);
    scheduler_->runUntilIdle();
  }
};

// A screen that is never scrolled gives one entry: the whole screen in focus at the start offset.
TEST_F(RUMScrollTest, NeverScrolledScreenGivesOneEntry) {
  auto list = addList(Rect::make(0, 0, 390, 800), 4000);
  list->setContentOffset({0, 120});
  makeCore();
  BatchContext batch = showScreen("List");
  scheduler_->advance(3.25);
  showScreen("Next");
  EXPECT_EQ(scrolls(batch), (std::vector<std::tuple<double, std::int64_t, std::int64_t>>{{120.0, 800, 3250}}));
  std::vector<std::string> order = types(batch);
  EXPECT_EQ(std::vector<std::string>(order.end() - 4, order.end()),
            (std::vector<std::string>{"samplingStatus", "scroll", "aE", "bE"}));
}

// A drag closes the position shown; the first offset change after the finger left takes the new
// one. Returning to a position adds to its entry; an overscroll gives a negative offset; scrolls by
// code and scrolls of another scroll view count for nothing.
TEST_F(RUMScrollTest, ReturningToAPositionAddsToItsEntry) {
  auto list = addList(Rect::make(0, 0, 390, 800), 4000);
  auto side = addList(Rect::make(0, 0, 100, 100), 1000);
  makeCore();
  BatchContext batch = showScreen("List");
  list->setContentOffset({0, 10});  // by code, while nobody drags
  scheduler_->advance(1.0);
  dragTo(*list, 100);  // closes "0,800" after 1000 ms
  scheduler_->advance(0.5);
  release(*list, 400);  // holds 400 from here
  dragTo(*side, 50);
  release(*side, 60);
  scheduler_->advance(2.0);
  dragTo(*list, 200);  // closes "400,800" after 2000 ms
  scheduler_->advance(0.25);
  release(*list, 0);  // back at 0
  scheduler_->advance(1.5);
  dragTo(*list, -30);  // "0,800" grows by 1500 ms
  scheduler_->advance(0.25);
  release(*list, -50);  // overscrolled
  scheduler_->advance(0.75);
  showScreen("Next");  // closes "-50,800" after 750 ms
  EXPECT_EQ(scrolls(batch), (std::vector<std::tuple<double, std::int64_t, std::int64_t>>{
                                {-50.0, 800, 750}, {0.0, 800, 2500}, {400.0, 800, 2000}}));
}

// The main scroll view is the first one breadth first that is wider than 0.8 and taller than 0.5 of
// the screen as it is when the screen starts; a screen without one writes no "scroll" record.
TEST_F(RUMScrollTest, MainScrollViewSearch) {
  makeCore();
  struct Case {
    const char* name;
    std::function<void(platform::View& root)> build;
    std::vector<std::tuple<double, std::int64_t, std::int64_t>> expected;
  };
  auto scroll = [](Rect frame) { return std::make_shared<platform::ScrollView>(frame); };
  const std::vector<Case> cases = {
      {"no scroll view", [](platform::View&) {}, {}},
      {"exactly 0.8 of the width", [&](platform::View& root) { root.addSubview(scroll(Rect::make(0, 0, 312, 800))); }, {}},
      {"exactly 0.5 of the height",
       [&](platform::View& root) { root.addSubview(scroll(Rect::make(0, 0, 313, 422))); },
       {}},
      {"shallow before deep",
       [&](platform::View& root) {
         auto container = std::make_shared<platform::View>(Rect::make(0, 0, 390, 844));
         container->addSubview(scroll(Rect::make(0, 0, 390, 700)));
         root.addSubview(container);
         root.addSubview(scroll(Rect::make(0, 0, 50, 50)));
         root.addSubview(scroll(Rect::make(0, 0, 313, 423)));
       },
       {{0.0, 423, 1000}}},
      {"on a screen resized since the start, as a toolkit's window sets it",
       [&](platform::View& root) {
         platform::Application::shared()->mainScreen()->setBounds(Rect::make(0, 0, 800, 600));
         root.addSubview(scroll(Rect::make(0, 0, 700, 400)));
       },
       {{0.0, 400, 1000}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto root = std::make_shared<platform::View>(window_->bounds());
    window_->addSubview(root);
    c.build(*root);
    BatchContext batch = showScreen(c.name);
    scheduler_->advance(1.0);
    root->removeFromSuperview();
    showScreen("Between");
    EXPECT_EQ(scrolls(batch), c.expected);
  }
}

// A scripted fling: the position held before it is closed when the drag is seen, and the position
// taken is where the finger left the content, not where the glide stops.
TEST_F(RUMScrollTest, FlingIsMeasuredFromTheLift) {
  auto list = addList(Rect::make(0, 0, 390, 800), 4000);
  makeCore();
  BatchContext batch = showScreen("List");
  const double start = scheduler_->now();
  scheduler_->advance(1.0);
  // Four moves of 100 points, 0.05 s apart. The first offset change is seen when the clock next
  // moves, 1.05 s into the screen; the first one after the lift as the glide begins, at 1.2 s.
  synthesizer_.fling({100, 700}, {100, 300}, 4, 0.2);
  EXPECT_GT(list->contentOffset().y, 400);  // the content glided on
  EXPECT_FALSE(list->isDecelerating());
  const double lifted = start + 1.2;
  scheduler_->advance(2.0);
  const double end = scheduler_->now();
  showScreen("Next");
  auto entries = scrolls(batch);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(std::get<0>(entries[0]), 0.0);
  EXPECT_NEAR(static_cast<double>(std::get<2>(entries[0])), 1050.0, 1.0);
  EXPECT_EQ(std::get<0>(entries[1]), 400.0);
  EXPECT_NEAR(static_cast<double>(std::get<2>(entries[1])), (end - lifted) * 1000, 1.0);
}

// A finger that drags, stops and then lifts changes no offset after the drag: the position it left
// is taken once the lift is seen, the position before it counts once, and the next screen's first
// drag closes that screen's first position.
TEST_F(RUMScrollTest, DragEndingWithoutLaterChange) {
  auto list = addList(Rect::make(0, 0, 390, 800), 4000);
  makeCore();
  BatchContext first = showScreen("List");
  scheduler_->advance(1.0);
  dragTo(*list, 300);
  scheduler_->advance(0.5);
  list->endDragging(false);  // 1.5 s
  scheduler_->advance(2.0);
  BatchContext second = showScreen("List again");  // 3.5 s
  scheduler_->advance(1.0);
  dragTo(*list, 500);
  scheduler_->advance(0.5);
  list->endDragging(false);  // 5.0 s
  scheduler_->advance(1.0);
  showScreen("Next");  // 6.0 s

  // Time from the lift, seen at the next check of the drag.
  auto sinceLift = [](std::int64_t focusTime, std::int64_t fromLift) {
    return focusTime <= fromLift && focusTime >= fromLift - RUMScrollHandle::kDragEndCheck * 1000 - 1;
  };
  auto firstEntries = scrolls(first);
  ASSERT_EQ(firstEntries.size(), 2u);
  EXPECT_EQ(firstEntries[0], std::make_tuple(0.0, std::int64_t{800}, std::int64_t{1000}));
  EXPECT_EQ(std::get<0>(firstEntries[1]), 300.0);
  EXPECT_TRUE(sinceLift(std::get<2>(firstEntries[1]), 2000)) << std::get<2>(firstEntries[1]);
  auto secondEntries = scrolls(second);
  ASSERT_EQ(secondEntries.size(), 2u);
  EXPECT_EQ(secondEntries[0], std::make_tuple(300.0, std::int64_t{800}, std::int64_t{1000}));
  EXPECT_EQ(std::get<0>(secondEntries[1]), 500.0);
  EXPECT_TRUE(sinceLift(std::get<2>(secondEntries[1]), 1000)) << std::get<2>(secondEntries[1]);
}

// A crash on a later screen that is not tracked hands over nothing of the screen before it, whose
// scrolls were written when it ended.
TEST_F(RUMScrollTest, CrashOnALaterScreenResendsNoScrolls) {
  addList(Rect::make(0, 0, 390, 800), 4000);
  makeCore();
  BatchContext first = showScreen("List");
  scheduler_->advance(2.0);
  BatchContext discarded = showScreen("Secret", true);
  core_->applicationWillCrash();
  EXPECT_EQ(scrolls(first).size(), 1u);
  EXPECT_EQ(types(discarded), (std::vector<std::string>{"samplingStatus", "aE", "bE"}));
}

// On Flutter no scroll is written, yet the offset observer still ends with each screen: an offset
// change costs as much work on the fourth screen as on the first.
TEST_F(RUMScrollTest, FlutterScreensPileUpNoObservers) {
  auto list = addList(Rect::make(0, 0, 390, 800), 4000);
  makeCore(Platform{PlatformType::flutter, "3.0.0", "Dart"});
  std::vector<std::size_t> work;
  for (int screen = 1; screen <= 4; ++screen) {
    BatchContext batch = showScreen("Screen " + std::to_string(screen));
    list->setContentOffset({0, 10.0 * screen});
    work.push_back(scheduler_->runUntilIdle());
    EXPECT_TRUE(payloads(batch, "scroll").empty());
  }
  EXPECT_EQ(work.front(), work.back());
}

}  // namespace
}  // namespace obx
