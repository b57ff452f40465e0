#include "svr/recording/screen_recording_hifi_mode.h"

#include <gtest/gtest.h>

#include <functional>

#include "lifecycle/view_properties.h"
#include "platform/ui/image_view.h"
#include "platform/ui/map_view.h"
#include "svr/recording/replay_rates.h"
#include "svr/recording_fixture.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using platform::Color;
using platform::Rect;
using platform::View;
using namespace ::obx::testing;

// A view whose every drawing moves `target` down one point, as an animation does that the render
// server advances while the window is drawn. It draws anew at each use of its layer.
class MovingWhileDrawn : public View {
 public:
  MovingWhileDrawn(Rect frame, std::shared_ptr<View> target) : View(frame), target_(std::move(target)) {}

 protected:
  bool hasContents() const override { return true; }
  void drawRect(platform::BitmapContext& context, Rect bounds) const override {
    context.fillRect(bounds, platform::Color{0, 0, 1, 1});
    Rect shown = target_->presentationFrame();
    shown.origin.y += 1;
    target_->setPresentationFrame(shown);
    const_cast<MovingWhileDrawn*>(this)->visualStateChanged();
  }

 private:
  std::shared_ptr<View> target_;
};

class HiFiModeTest : public testing::RecordingFixture {
 protected:
  HiFiModeTest() {
    hiFi_->setImagePublisher(publisher_);
    hiFi_->setBatchContext(kBatch);
    hiFi_->setCurrentSessionReplayMode(SessionReplayMode::hiFi);
  }

  // Asks the screenshot recorder for an image now; null when nothing was published.
  std::shared_ptr<const platform::Bitmap> recordHiFi() {
    return recordNow(hiFi_.get(), [this](bool change, bool isLoFi) { completions.emplace_back(change, isLoFi); });
  }

  std::shared_ptr<ScreenRecordingHIFIMode> hiFi_ = ScreenRecordingHIFIMode::make(configuration_, scheduler_);
  std::vector<std::pair<bool, bool>> completions;
};

// With hiFi asked and every category masked, each masked view, nested or marked by the application,
// and each rectangle the application blocked is painted over; unmasked content is the screenshot.
TEST_F(HiFiModeTest, HiFiAskedPaintsOverEveryMaskedView) {
  setMasks({});
  hiFi_->setConfigurationMask({MaskAutomatic::labels, MaskAutomatic::inputs, MaskAutomatic::images, MaskAutomatic::webViews});
  auto card = coloured(Rect::make(0, 300, 390, 200), Color{1, 0, 0, 1});
  card->addSubview(secretLabel(Rect::make(20, 20, 300, 40)));  // nested: 20,320
  auto userMasked = coloured(Rect::make(20, 520, 150, 60), Color{0, 1, 0, 1});
  setObxMasking(*userMasked, MaskView::mask);
  window_->addSubview(secretField(Rect::make(20, 40, 300, 40)));
  window_->addSubview(card);
  window_->addSubview(userMasked);
  window_->addSubview(std::make_shared<platform::ImageView>(Rect::make(20, 100, 100, 100), platform::Image::make("card", {100, 100})));
  window_->addSubview(secretWebPage(Rect::make(20, 600, 300, 80)));
  hiFi_->setUserMaskedRects({Rect::make(200, 700, 100, 60)});

  auto image = recordHiFi();
  ASSERT_NE(image, nullptr);
  ASSERT_EQ(completions, (std::vector<std::pair<bool, bool>>{{false, false}}));
  struct Region {
    const char* name;
    Rect rect;
  } masked[] = {{"text field", Rect::make(20, 40, 300, 40)},   {"nested label", Rect::make(20, 320, 300, 40)},
                {"marked view", Rect::make(20, 520, 150, 60)}, {"image", Rect::make(20, 100, 100, 100)},
                {"web view", Rect::make(20, 600, 300, 80)},    {"blocked rectangle", Rect::make(200, 700, 100, 60)}};
  for (const auto& region : masked) {
    EXPECT_EQ(pixelsOff(*image, region.rect, 128, 128, 128), 0) << region.name;
  }
  EXPECT_EQ(pixelsOff(*image, Rect::make(0, 380, 390, 120), 255, 0, 0), 0) << "the card shows as drawn";
  EXPECT_EQ(pixelsOff(*image, Rect::make(330, 0, 60, 90), 255, 255, 255), 0) << "the window's background shows";
}

// Whether the recorder asks for the change, by mode and screen: a masked view does in automatic and
// loFi, never in hiFi; a player view does whenever no categories are set; a configured loFi mode
// always does. A change draws nothing and counts no image.
TEST_F(HiFiModeTest, MaskedViewsAskForTheChangeByMode) {
  struct Case {
    const char* name;
    SessionReplayMode mode;
    SessionReplayMode configured;
    std::vector<MaskAutomatic> masks;
    std::function<std::shared_ptr<View>()> make;
    bool change;
  } cases[] = {
      {"automatic, masked label", SessionReplayMode::automatic, SessionReplayMode::automatic, {MaskAutomatic::labels},
       [] { return secretLabel(); }, true},
      {"automatic, nothing masked on screen", SessionReplayMode::automatic, SessionReplayMode::automatic,
       {MaskAutomatic::inputs}, [] { return coloured(kSpot, Color{1, 0, 0, 1}); }, false},
      {"automatic, no masks", SessionReplayMode::automatic, SessionReplayMode::automatic, {},
       [] { return std::make_shared<platform::Label>(kSpot, "Total"); }, false},
      {"automatic, view marked mask", SessionReplayMode::automatic, SessionReplayMode::automatic, {},
       [] {
         auto view = coloured(kSpot, Color{1, 0, 0, 1});
         setObxMasking(*view, MaskView::mask);
         return view;
       },
       true},
      {"automatic, label marked unmask", SessionReplayMode::automatic, SessionReplayMode::automatic,
       {MaskAutomatic::labels},
       [] {
         auto view = std::make_shared<platform::Label>(kSpot, "Total");
         setObxMasking(*view, MaskView::unmask);
         return view;
       },
       false},
      {"loFi mode, masked field", SessionReplayMode::loFi, SessionReplayMode::automatic, {MaskAutomatic::inputs},
       [] { return secretField(); }, true},
      {"hiFi, masked field", SessionReplayMode::hiFi, SessionReplayMode::automatic, {MaskAutomatic::inputs},
       [] { return secretField(); }, false},
      {"hiFi, player without masks", SessionReplayMode::hiFi, SessionReplayMode::automatic, {},
       [] { return std::make_shared<PlayerView>(kSpot); }, true},
      {"configured loFi, nothing masked", SessionReplayMode::hiFi, SessionReplayMode::loFi, {},
       [] { return coloured(kSpot, Color{1, 0, 0, 1}); }, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Common common = configuration_->common();
    common.sessionReplayMode = c.configured;
    configuration_->setCommon(common);
    hiFi_->setCurrentSessionReplayMode(c.mode);
    hiFi_->setConfigurationMask(c.masks);
    auto view = c.make();
    window_->addSubview(view);
    completions.clear();
    std::int64_t taken = hiFi_->imagesTaken();
    auto image = recordHiFi();
    ASSERT_EQ(completions.size(), 1u);
    EXPECT_EQ(completions[0], std::make_pair(c.change, false));
    EXPECT_EQ(image != nullptr, !c.change);
    EXPECT_EQ(hiFi_->imagesTaken(), taken + (c.change ? 0 : 1));
    view->removeFromSuperview();
  }
}

// A masked view that moves while the window is drawn drops the frame with its message and counts
// the attempt.
TEST_F(HiFiModeTest, ViewMovingDuringTheDrawDropsTheFrame) {
  ::obx::testing::LogCapture logs;
  hiFi_->setConfigurationMask({MaskAutomatic::labels});
  auto label = secretLabel(Rect::make(20, 400, 300, 40));
  window_->addSubview(label);
  ASSERT_NE(recordHiFi(), nullptr);

  auto mover = std::make_shared<MovingWhileDrawn>(Rect::make(0, 700, 50, 50), label);
  window_->addSubview(mover);
  std::size_t published = publisher_->images.size();
  std::int64_t taken = hiFi_->imagesTaken();
  EXPECT_EQ(recordHiFi(), nullptr);
  EXPECT_EQ(publisher_->images.size(), published);
  EXPECT_EQ(hiFi_->imagesTaken(), taken + 1);
  EXPECT_TRUE(logs.contains("view Checkout with wrong masking coordinates", LogLevel::qa));
  EXPECT_TRUE(logs.contains("screenshot Checkout failed with nil value", LogLevel::qa));
  EXPECT_EQ(logs.count("Create image of screen in HiFi screenID: screen-1"), 1u) << "only the first image was made";

  mover->removeFromSuperview();
  label->setPresentationFrame(std::nullopt);
  EXPECT_NE(recordHiFi(), nullptr) << "once still, the next image goes out";
}

// The secret texts of the privacy screens never reach a screenshot: under each configuration that
// masks them, their region is the masking colour alone.
TEST_F(HiFiModeTest, SecretTextsNeverReachAHiFiFrame) {
  const std::vector<MaskAutomatic> defaults = {MaskAutomatic::webViews, MaskAutomatic::inputs};
  struct Case {
    const char* name;
    std::vector<MaskAutomatic> masks;
    std::function<std::shared_ptr<View>()> make;
    MaskView own;
  } cases[] = {
      {"label marked mask, no masks", {}, [] { return secretLabel(); }, MaskView::mask},
      {"text field, default masks", defaults, [] { return secretField(); }, MaskView::automatic},
      {"secure field, default masks", defaults, [] { return secretField(kSpot, true); }, MaskView::automatic},
      {"text field, only labels masked", {MaskAutomatic::labels}, [] { return secretField(); }, MaskView::automatic},
      {"text view, default masks", defaults, [] { return secretTextView(); }, MaskView::automatic},
      {"web page marked mask", {}, [] { return secretWebPage(); }, MaskView::mask},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto holder = coloured(Rect::make(0, 0, 390, 300), Color{0.9, 0.9, 1, 1});
    auto view = c.make();
    if (c.own != MaskView::automatic) setObxMasking(*view, c.own);
    holder->addSubview(view);
    window_->addSubview(holder);
    hiFi_->setConfigurationMask(c.masks);
    auto image = recordHiFi();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(pixelsOff(*image, kSpot, 128, 128, 128, 24, 2), 0) << "pixels of the secret's region not in the masking colour";
    holder->removeFromSuperview();
  }
}

// Maps and video players are painted over whatever categories are set, a player's subtree with it
// (without categories a player hands the screen to the wireframe instead); the masked views are not
// kept once their pass is over.
TEST_F(HiFiModeTest, MapsAndPlayersAreMaskedWhateverTheCategories) {
  const std::vector<std::vector<MaskAutomatic>> categories = {
      {}, {MaskAutomatic::inputs}, {MaskAutomatic::labels, MaskAutomatic::inputs, MaskAutomatic::images, MaskAutomatic::webViews}};
  for (const auto& masks : categories) {
    SCOPED_TRACE(masks.size());
    const bool withPlayer = !masks.empty();
    hiFi_->setConfigurationMask(masks);
    auto map = std::make_shared<platform::MapView>(Rect::make(20, 100, 300, 150));
    auto player = std::make_shared<PlayerView>(Rect::make(20, 300, 300, 150));
    player->setBackgroundColor(Color{0, 0, 1, 1});
    auto caption = secretLabel(Rect::make(10, 10, 280, 40));
    setObxMasking(*caption, MaskView::unmask);
    player->addSubview(caption);
    auto marked = secretLabel(Rect::make(20, 500, 300, 40));
    setObxMasking(*marked, MaskView::mask);
    window_->addSubview(map);
    window_->addSubview(marked);
    if (withPlayer) window_->addSubview(player);
    auto image = recordHiFi();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(pixelsOff(*image, Rect::make(20, 100, 300, 150), 128, 128, 128), 0) << "the map";
    if (withPlayer) {
      EXPECT_EQ(pixelsOff(*image, Rect::make(20, 300, 300, 150), 128, 128, 128), 0) << "the player";
    }

    std::weak_ptr<View> gone = marked;
    map->removeFromSuperview();
    marked->removeFromSuperview();
    player->removeFromSuperview();
    marked.reset();
    EXPECT_TRUE(gone.expired()) << "the recorder keeps a masked view after its pass";
  }
}

// A masked label in a container that is moving (its presentation frame ahead of its model) is
// blocked where the window is drawn, at every level of the presentation.
TEST_F(HiFiModeTest, MovingContainerIsMaskedWhereItIsDrawn) {
  hiFi_->setConfigurationMask({MaskAutomatic::labels});
  auto container = coloured(Rect::make(0, 500, 390, 200), Color{1, 0.9, 0.9, 1});
  container->addSubview(secretLabel(Rect::make(20, 20, 300, 40)));
  window_->addSubview(container);
  container->setPresentationFrame(Rect::make(0, 200, 390, 200));  // sliding up to y 500
  auto image = recordHiFi();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOff(*image, Rect::make(20, 220, 300, 40), 128, 128, 128), 0) << "blocked where it is drawn";
  EXPECT_EQ(pixelsOff(*image, Rect::make(20, 520, 300, 40), 255, 255, 255), 0) << "nothing where it will be";
}

// The image size rule: a side over 1200 points halves both. On such a screen both recorders draw
// the whole screen at half scale, into an image of the halved size, with the blocks in place.
TEST_F(HiFiModeTest, LargeScreenIsDrawnWholeAtHalfScale) {
  const std::pair<Rect, platform::Size> sizes[] = {{Rect::make(0, 0, 1200, 800), {1200, 800}},
                                                   {Rect::make(0, 0, 1201, 800), {600.5, 400}}};
  for (const auto& [bounds, size] : sizes) {
    application_->mainScreen()->setBounds(bounds);
    EXPECT_EQ(mainScreenImageSize(), size) << bounds.size.width;
  }
  application_->mainScreen()->setBounds(Rect::make(0, 0, 2400, 1600));
  EXPECT_EQ(mainScreenDrawingScale(), 0.5);
  window_->setFrame(Rect::make(0, 0, 2400, 1600));
  window_->addSubview(coloured(Rect::make(2000, 1300, 300, 200), Color{1, 0, 0, 1}));
  auto secret = secretLabel(Rect::make(1800, 100, 500, 80));
  setObxMasking(*secret, MaskView::mask);
  window_->addSubview(secret);
  for (ScreenRecordingMode* recorder : {static_cast<ScreenRecordingMode*>(hiFi_.get()),
                                        static_cast<ScreenRecordingMode*>(recorder_.get())}) {
    SCOPED_TRACE(recorder == hiFi_.get() ? "screenshot" : "wireframe");
    auto image = recordNow(recorder, {}, {1200, 800});
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(image->width(), 1200);
    ASSERT_EQ(image->height(), 800);
    EXPECT_EQ(pixelsOff(*image, Rect::make(1000, 650, 150, 100), 255, 0, 0), 0) << "the bottom-right corner";
    EXPECT_EQ(pixelsOff(*image, Rect::make(900, 50, 250, 40), 128, 128, 128), 0) << "the masked label";
  }
}

// A still screen gives one opening image more than the wireframe recorder, then none; a seen change
// gives one more.
TEST_F(HiFiModeTest, StillScreenGivesOneOpeningImageMore) {
  window_->addSubview(coloured(kSpot, Color{1, 0, 0, 1}));
  for (int i = 0; i <= 10; ++i) tick(i ? 0.5 : 0, hiFi_.get());
  EXPECT_EQ(publisher_->images.size(), 4u);
  EXPECT_NE(recordHiFi(), nullptr);
  EXPECT_EQ(publisher_->images.back().index, 0);
  EXPECT_EQ(publisher_->images.back().batchContext.id, "screen-1_20240101120000");
}

// Without a key window, or with recording disabled, neither recorder takes or counts anything.
TEST_F(HiFiModeTest, NoKeyWindowOrDisabledTakesNothing) {
  for (ScreenRecordingMode* recorder : {static_cast<ScreenRecordingMode*>(hiFi_.get()),
                                        static_cast<ScreenRecordingMode*>(recorder_.get())}) {
    recorder->setEnabledSessionRecording(false);
    EXPECT_EQ(recordNow(recorder), nullptr);
    recorder->setEnabledSessionRecording(true);
  }
  auto application = platform::Application::resetShared(scheduler_);
  EXPECT_EQ(recordHiFi(), nullptr);
  EXPECT_EQ(recordNow(), nullptr);
  EXPECT_TRUE(completions.empty());
  EXPECT_EQ(hiFi_->imagesTaken(), 0);
  EXPECT_EQ(recorder_->imagesTaken(), 0);
}

}  // namespace
}  // namespace obx
