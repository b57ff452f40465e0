#include "svr/svr_view_change_detector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/window.h"

namespace obx {
namespace {

using platform::Rect;

// A host's view that counts its layouts, as a view that places its subviews would run them.
class CountingView : public platform::View {
 public:
  using View::View;
  int layouts = 0;

 protected:
  void layoutSubviews() override { ++layouts; }
};

platform::IMP layoutImplementation() {
  return platform::methodGetImplementation(
      platform::View::runtimeClass()->instanceMethod(platform::selectors::layoutSublayersOfLayer));
}

class SVRViewChangeDetectorTest : public ::testing::Test {
 protected:
  SVRViewChangeDetectorTest() {
    setQuality(VideoQualityType::poor);  // 2 frames per second
    window_->makeKeyAndVisible();
    for (int i = 0; i < 100; ++i) {
      auto view = std::make_shared<CountingView>(Rect::make(0, i * 8, 390, 8));
      window_->addSubview(view);
      views_.push_back(view);
    }
    scheduler_->runUntilIdle();  // the window's first layout, before any detector
  }

  void setQuality(VideoQualityType quality) {
    Common common;
    common.videoQualityType = quality;
    configuration_->setCommon(common);
  }

  // A detector, hooked and started, whose notifications are counted in `notifications_`.
  std::shared_ptr<SVRViewChangeDetector> makeDetector() {
    auto detector = SVRViewChangeDetector::make(configuration_, scheduler_);
    detector->start();
    EXPECT_TRUE(detector->swizzleLayoutSublayersOfLayer());
    detector->add(LayerChangeObserverValue::make(observerQueue_,
                                                 [this](const LayerChange&, const LayerChange&) { ++notifications_; }));
    scheduler_->runUntilIdle();
    return detector;
  }

  // `count` views change at once: one layout pass lays out each of them.
  void changeViews(int count) {
    for (int i = 0; i < count; ++i) {
      Rect frame = views_[i]->frame();
      views_[i]->setFrame(Rect::make(frame.origin.x, frame.origin.y + 1, frame.size.width, frame.size.height));
    }
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SVRConfiguration> configuration_ = std::make_shared<SVRConfiguration>(nullptr, nullptr);
  std::shared_ptr<platform::DispatchQueue> observerQueue_ =
      platform::DispatchQueue::makeSerial(scheduler_, "test.layer-changes");
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>(Rect::make(0, 0, 390, 844));
  std::vector<std::shared_ptr<CountingView>> views_;
  int notifications_ = 0;
};

// Layouts within one frame of the gate give one notification; frames without a layout give none.
TEST_F(SVRViewChangeDetectorTest, OneNotificationPerFrameWithLayouts) {
  struct Case {
    const char* name;
    std::vector<int> layoutsPerFrame;  // views changed in each frame of 0.5 seconds
    int notifications;
  };
  const std::vector<Case> cases = {
      {"still screen", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0},
      {"a hundred layouts in one frame", {100}, 1},
      {"one layout in each of three frames", {1, 1, 1}, 3},
      {"a busy frame between quiet ones", {0, 0, 100, 0, 0}, 1},
      {"layouts in every other frame", {5, 0, 5, 0, 5, 0}, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    notifications_ = 0;
    auto detector = makeDetector();
    for (int layouts : c.layoutsPerFrame) {
      scheduler_->advance(0.5);  // the gate opens
      changeViews(layouts);
    }
    scheduler_->advance(5);
    scheduler_->runUntilIdle();
    EXPECT_EQ(notifications_, c.notifications);
  }
}

// With layouts going on all the time, notifications come at the video quality's frame rate, read
// once when the detector starts.
TEST_F(SVRViewChangeDetectorTest, NotificationsFollowTheVideoQualityRate) {
  const std::vector<std::pair<VideoQualityType, int>> rates = {
      {VideoQualityType::poor, 2},  {VideoQualityType::low, 4},    {VideoQualityType::average, 6},
      {VideoQualityType::high, 10}, {VideoQualityType::ultra, 12},
  };
  for (auto [quality, framesPerSecond] : rates) {
    SCOPED_TRACE(framesPerSecond);
    setQuality(quality);
    notifications_ = 0;
    auto detector = makeDetector();
    setQuality(VideoQualityType::poor);  // too late for this detector's link
    scheduler_->advance(1.0 / 120);
    for (int step = 0; step < 60; ++step) {  // a layout every 60th of a second, for one second
      changeViews(1);
      scheduler_->advance(1.0 / 60);
    }
    changeViews(1);
    scheduler_->runUntilIdle();
    EXPECT_EQ(notifications_, framesPerSecond);
  }
}

// The original "layoutSublayersOfLayer:" runs on every layout, with detectors and after them, and
// only for the views laid out. Each detector hears the layouts. One detector, or two gone in reverse
// order, put the original implementation back; two gone in the order they came leave the first in
// the chain as a silent pass-through. Either way nobody is told once they are gone.
TEST_F(SVRViewChangeDetectorTest, OriginalRunsAlwaysAndDetectorsUnhookInEitherOrder) {
  const struct {
    const char* name;
    int detectors;
    bool firstGoesFirst;
  } cases[] = {{"one", 1, false}, {"two, reverse order", 2, false}, {"two, in order", 2, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const platform::IMP original = layoutImplementation();
    const int before = views_[0]->layouts, untouched = views_[99]->layouts;
    notifications_ = 0;
    auto first = makeDetector();
    auto second = c.detectors == 2 ? makeDetector() : nullptr;
    EXPECT_NE(layoutImplementation(), original);
    scheduler_->advance(0.5);
    changeViews(3);
    changeViews(3);
    EXPECT_EQ(views_[0]->layouts, before + 2);
    EXPECT_EQ(notifications_, c.detectors) << "one per detector for the frame";
    if (second) {
      (c.firstGoesFirst ? first : second).reset();
      scheduler_->advance(0.5);
      changeViews(3);
      EXPECT_EQ(notifications_, 3);
    }
    first.reset();
    second.reset();
    if (!c.firstGoesFirst) {
      EXPECT_EQ(layoutImplementation(), original);
    }
    const int told = notifications_;
    scheduler_->advance(0.5);
    changeViews(1);
    EXPECT_EQ(views_[0]->layouts, before + 2 + c.detectors);
    EXPECT_EQ(views_[99]->layouts, untouched);
    EXPECT_EQ(notifications_, told);
  }
}

}  // namespace
}  // namespace obx
