#include "svr/svr_tracking.h"

#include <gtest/gtest.h>

#include "platform/runtime/runtime.h"
#include "platform/ui/label.h"
#include "svr/recording/replay_rates.h"
#include "svr/recording_fixture.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using platform::Rect;
using testing::CollectingPublisher;

class SVRTrackingTest : public ::testing::Test {
 protected:
  SVRTrackingTest() {
    Common common;
    common.maskingAutomatic = {};
    // imageTakenWhenScreenStart stays at the configuration's default: it decides the opening images.
    common.videoQualityType = VideoQualityType::poor;  // 2 frames per second
    configuration_->setCommon(common);
    window_->setBackgroundColor(platform::Color{1, 1, 1, 1});
    window_->makeKeyAndVisible();
    label_ = std::make_shared<platform::Label>(Rect::make(20, 40, 200, 30), "Total");
    window_->addSubview(label_);
  }

  void startScreen(const std::string& id) {
    ViewContext screen{id, 0, "Checkout", {390, 844}};
    tracking_->startScreen(screen, BatchContext{id + "_20240101120000", screen}, std::nullopt, std::nullopt, false);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SVRConfiguration> configuration_ = std::make_shared<SVRConfiguration>(nullptr, nullptr);
  BitmapCache cache_;
  std::shared_ptr<CollectingPublisher> publisher_ = std::make_shared<CollectingPublisher>();
  std::shared_ptr<SVRTracking> tracking_ = SVRTracking::make(configuration_, scheduler_, publisher_, &cache_);
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>(Rect::make(0, 0, 390, 844));
  std::shared_ptr<platform::Label> label_;
};

// The link alone drives a still screen: its first image comes without waiting for a tick, the
// opening looks on the ticks repeat it and give nothing, and nothing comes however long it stays.
TEST_F(SVRTrackingTest, StillScreenGivesOpeningImagesThenNone) {
  startScreen("screen-1");
  EXPECT_EQ(publisher_->images.size(), 1u) << "the first image does not wait for a tick";
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 2);
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  ASSERT_EQ(publisher_->images.size(), 1u);
  for (const auto& image : publisher_->images) {
    EXPECT_EQ(image.batchContext.viewContext.screenID, "screen-1");
    EXPECT_EQ(image.size, (Size{390, 844}));
    EXPECT_FALSE(platform::decodeJPEG(std::string_view(reinterpret_cast<const char*>(image.data.data()),
                                                      image.data.size())) == nullptr);
  }
}

// Layout changes reach the recorder through the layout hook: many within one frame give one new
// image, on the next tick; a still screen after them gives none, however long it stays.
TEST_F(SVRTrackingTest, LayoutChangeGivesAtMostOneFramePerTick) {
  startScreen("screen-1");
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  ASSERT_EQ(publisher_->images.size(), 1u);
  const std::vector<std::pair<int, std::size_t>> rounds = {{5, 2u}, {0, 2u}, {50, 3u}, {1, 4u}, {0, 4u}};
  for (auto [changes, imagesAfter] : rounds) {
    SCOPED_TRACE(changes);
    for (int i = 0; i < changes; ++i) {
      label_->setFrame(Rect::make(20, 60 + (i + publisher_->images.size()) % 400, 200, 30));
      scheduler_->runUntilIdle();  // each change laid out on its own pass
    }
    scheduler_->advance(0.5);
    scheduler_->runUntilIdle();
    EXPECT_EQ(publisher_->images.size(), imagesAfter);
    scheduler_->advance(30);
    scheduler_->runUntilIdle();
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
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  platform::IMP hooked = implementation();
  tracking_->stop();
  platform::IMP unhooked = implementation();
  EXPECT_NE(unhooked, hooked);
  label_->setFrame(Rect::make(20, 90, 200, 30));
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  EXPECT_EQ(tracking_->recorder().needNewImage(), false);

  startScreen("screen-2");
  EXPECT_NE(implementation(), unhooked);
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  std::size_t before = publisher_->images.size();
  label_->setFrame(Rect::make(20, 120, 200, 30));
  scheduler_->advance(0.5);
  scheduler_->runUntilIdle();
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
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  EXPECT_EQ(tracking_->runningFramesPerSecond(), 0);
  EXPECT_EQ(publisher_->images.size(), before);

  common.sessionReplayEnabled = true;
  configuration_->setCommon(common);
  startScreen("screen-4");
  tracking_->stop();
  before = publisher_->images.size();
  scheduler_->advance(10);
  scheduler_->runUntilIdle();
  EXPECT_EQ(publisher_->images.size(), before);
}

// The image size rule: a side over 1200 points halves both.
TEST_F(SVRTrackingTest, LargeScreenRecordsAtHalfSize) {
  application_->mainScreen()->setBounds(Rect::make(0, 0, 1201, 800));
  startScreen("screen-1");
  EXPECT_FALSE(publisher_->images.empty());
  EXPECT_EQ(mainScreenImageSize(), (platform::Size{600.5, 400}));
  EXPECT_EQ(mainScreenDrawingScale(), 0.5);
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
    ::obx::testing::LogCapture logs;
    auto publisher = std::make_shared<CollectingPublisher>();
    auto tracking = SVRTracking::make(configuration_, scheduler_, publisher, &cache_, nullptr, c.recorders);
    ViewContext screen{"screen-2", 0, "Card", {390, 844}};
    tracking->startScreen(screen, BatchContext{"screen-2_20240101120000", screen}, c.mode,
                          std::vector<MaskAutomatic>{MaskAutomatic::labels}, false);
    scheduler_->runUntilIdle();
    EXPECT_EQ(tracking->sessionReplayMode(), c.resolved);
    ASSERT_EQ(publisher->images.size(), 1u) << "one image, from the recorder the screen ends up with";
    EXPECT_TRUE(logs.contains(std::string("Create image of screen in ") + c.created + " screenID: screen-2"));
    const auto& data = publisher->images[0].data;
    auto image = platform::decodeJPEG(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
    ASSERT_NE(image, nullptr);
    auto pixel = image->pixelAt(120, 55);  // inside the label "Total", masked by either recorder
    EXPECT_FALSE(::obx::testing::closeTo(pixel, 255, 255, 255, 24)) << "the label's region is blocked";
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
    ViewContext screen{id, 0, id, {390, 844}};
    tracking->startScreen(screen, BatchContext{id + "_20240101120000", screen}, std::nullopt, std::nullopt, false);
  }
  scheduler_->advance(2.0);
  ASSERT_EQ(publisher->images.size(), 1u);
  EXPECT_EQ(publisher->images[0].batchContext.viewContext.screenID, "screen-b");
  EXPECT_TRUE(publisher->images[0].isPlaceholder);
  tracking->stop();
}

}  // namespace
}  // namespace obx
