#include "svr/svr_tracking.h"

#include <gtest/gtest.h>

#include "platform/runtime/runtime.h"
#include "platform/ui/label.h"
#include "svr/recording_fixture.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using platform::Rect;
using testing::CollectingPublisher;

class SVRTrackingTest : public testing::RecordingFixture {
 protected:
  SVRTrackingTest() {
    Common common;
    common.maskingAutomatic = {};
    // imageTakenWhenScreenStart stays at the configuration's default: it decides the opening images.
    common.videoQualityType = VideoQualityType::poor;  // 2 frames per second
    configuration_->setCommon(common);
    window_->addSubview(label_);
  }

  void startScreen(const std::string& id, SVRTracking& tracking, std::optional<SessionReplayMode> mode = std::nullopt,
                   std::optional<std::vector<MaskAutomatic>> masks = std::nullopt) {
    const BatchContext batch = testing::Spool::batch(id + "_1", 0, "Checkout");
    tracking.startScreen(batch.viewContext, batch, mode, masks, false);
    scheduler_->runUntilIdle();
  }
  void startScreen(const std::string& id) { startScreen(id, *tracking_); }

  // Waits `seconds` and runs what fell due.
  void wait(double seconds) {
    scheduler_->advance(seconds);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<SVRTracking> tracking_ = SVRTracking::make(configuration_, scheduler_, publisher_, &cache_);
  std::shared_ptr<platform::Label> label_ = std::make_shared<platform::Label>(Rect::make(20, 40, 200, 30), "Total");
};

// The link alone drives a still screen: its first image comes without waiting for a tick, the
// opening looks on the ticks repeat it and give nothing, and nothing comes however long it stays.
// Layout changes reach the recorder through the layout hook: many within one frame give one new
// image, on the next tick; a still screen after them gives none, however long it stays.
TEST_F(SVRTrackingTest, StillScreenThenAtMostOneFramePerTick) {
  startScreen("screen-1");
  EXPECT_EQ(publisher_->images.size(), 1u) << "the first image does not wait for a tick";
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 2);
  wait(10);
  ASSERT_EQ(publisher_->images.size(), 1u);
  const ImageToParse& first = publisher_->images[0];
  EXPECT_EQ(first.batchContext.viewContext.screenID, "screen-1");
  EXPECT_EQ(first.size, (Size{390, 844}));
  EXPECT_NE(testing::decoded(first.data), nullptr);

  const std::vector<std::pair<int, std::size_t>> rounds = {{5, 2u}, {0, 2u}, {50, 3u}, {1, 4u}, {0, 4u}};
  for (auto [changes, imagesAfter] : rounds) {
    SCOPED_TRACE(changes);
    for (int i = 0; i < changes; ++i) {
      label_->setFrame(Rect::make(20, 60 + (i + publisher_->images.size()) % 400, 200, 30));
      scheduler_->runUntilIdle();  // each change laid out on its own pass
    }
    wait(0.5);
    EXPECT_EQ(publisher_->images.size(), imagesAfter);
    wait(30);
    EXPECT_EQ(publisher_->images.size(), imagesAfter);
  }
}

// stop() puts the layout method back, so changes go unheard; the next screen hooks it again.
TEST_F(SVRTrackingTest, StopUnhooksLayoutsAndTheNextScreenHooksThemAgain) {
  auto implementation = [] {
    return platform::methodGetImplementation(
        platform::View::runtimeClass()->instanceMethod(platform::selectors::layoutSublayersOfLayer));
  };
  startScreen("screen-1");
  wait(10);
  platform::IMP hooked = implementation();
  tracking_->stop();
  platform::IMP unhooked = implementation();
  EXPECT_NE(unhooked, hooked);
  label_->setFrame(Rect::make(20, 90, 200, 30));
  wait(10);
  EXPECT_EQ(tracking_->recorder().needNewImage(), false);

  startScreen("screen-2");
  EXPECT_NE(implementation(), unhooked);
  wait(10);
  std::size_t before = publisher_->images.size();
  label_->setFrame(Rect::make(20, 120, 200, 30));
  wait(0.5);
  EXPECT_EQ(publisher_->images.size(), before + 1);
}

// A changed video quality leaves the running link alone and applies at the next screen; a screen
// with replay disabled stops the link and takes nothing; stop() stops the ticks.
TEST_F(SVRTrackingTest, RateChangesAtNextScreenAndDisabledReplayStopsTheLink) {
  startScreen("screen-1");
  Common common = configuration_->common();
  common.videoQualityType = VideoQualityType::high;
  configuration_->setCommon(common);
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 2);
  startScreen("screen-2");
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 10);

  common.sessionReplayEnabled = false;
  configuration_->setCommon(common);
  std::size_t before = publisher_->images.size();
  startScreen("screen-3");
  wait(10);
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 0);
  EXPECT_EQ(publisher_->images.size(), before);

  common.sessionReplayEnabled = true;
  configuration_->setCommon(common);
  startScreen("screen-4");
  tracking_->stop();
  before = publisher_->images.size();
  wait(10);
  EXPECT_EQ(publisher_->images.size(), before);
}

// Made byMode, only a screen in hiFi is a screenshot; automatic and loFi are wireframes. Made
// wireframeOnly, every screen is a wireframe. Either recorder blocks the label.
TEST_F(SVRTrackingTest, RecordersByModeAndTheHandOver) {
  struct Case {
    const char* name;
    ScreenRecorders recorders;
    std::optional<SessionReplayMode> mode;
    SessionReplayMode resolved;
    const char* created;
  } cases[] = {
      {"automatic is a wireframe", ScreenRecorders::byMode, SessionReplayMode::automatic, SessionReplayMode::automatic,
       "LoFi"},
      {"hiFi keeps the screenshot", ScreenRecorders::byMode, SessionReplayMode::hiFi, SessionReplayMode::hiFi, "HiFi"},
      {"loFi is a wireframe", ScreenRecorders::byMode, SessionReplayMode::loFi, SessionReplayMode::loFi, "LoFi"},
      {"wireframe only", ScreenRecorders::wireframeOnly, SessionReplayMode::hiFi, SessionReplayMode::hiFi, "LoFi"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::LogCapture logs;
    auto publisher = std::make_shared<CollectingPublisher>();
    auto tracking = SVRTracking::make(configuration_, scheduler_, publisher, &cache_, nullptr, c.recorders);
    startScreen("screen-2", *tracking, c.mode, std::vector<MaskAutomatic>{MaskAutomatic::labels});
    EXPECT_EQ(tracking->sessionReplayMode(), c.resolved);
    ASSERT_EQ(publisher->images.size(), 1u) << "one image, from the recorder the screen ends up with";
    EXPECT_TRUE(logs.contains(std::string("Create image of screen in ") + c.created + " screenID: screen-2"));
    auto image = testing::decoded(publisher->images[0].data);
    ASSERT_NE(image, nullptr);
    // Inside the label "Total", masked by either recorder.
    EXPECT_FALSE(testing::closeTo(image->pixelAt(120, 55), 255, 255, 255, 24)) << "the label's region is blocked";
    EXPECT_EQ(tracking->recorder().index(), 0);
    tracking->stop();
  }
}

// Under stress, a placeholder asked for one screen that comes back after the next screen started is
// not published: the next screen gets its own, once, in its own batch.
TEST_F(SVRTrackingTest, StressPlaceholderStaysWithItsScreen) {
  auto builder = std::make_shared<ImagePlaceholderBuilder>(nullptr, scheduler_->mainQueue());
  auto publisher = std::make_shared<CollectingPublisher>();
  auto tracking = SVRTracking::make(configuration_, scheduler_, publisher, &cache_, builder);
  tracking->setDeviceStressed({DeviceStressedType::cpu});
  for (const std::string id : {"screen-a", "screen-b"}) {
    const BatchContext batch = testing::Spool::batch(id + "_1", 0);
    tracking->startScreen(batch.viewContext, batch, std::nullopt, std::nullopt, false);
  }
  scheduler_->advance(2.0);
  ASSERT_EQ(publisher->images.size(), 1u);
  EXPECT_EQ(publisher->images[0].batchContext.viewContext.screenID, "screen-b");
  EXPECT_TRUE(publisher->images[0].isPlaceholder);
  tracking->stop();
}

}  // namespace
}  // namespace obx
