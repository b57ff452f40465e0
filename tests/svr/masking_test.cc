#include <gtest/gtest.h>

#include <functional>

#include "obx/view_properties.h"
#include "platform/ui/image_view.h"
#include "platform/ui/map_view.h"
#include "platform/ui/scroll_view.h"
#include "svr/recording_fixture.h"

namespace obx {
namespace {

using platform::Rect;
using platform::View;
using namespace ::obx::testing;

class MaskingTest : public testing::RecordingFixture {};

// Under each configuration, the region of a secret text holds the masking colour, or it shows ink
// when the rules let the content through.
TEST_F(MaskingTest, SecretTextsNeverReachTheImage) {
  struct Case {
    const char* name;
    std::vector<MaskAutomatic> masks;
    std::function<std::shared_ptr<View>()> make;
    MaskView own;
    bool masked;
  } cases[] = {
      {"label, labels masked", {MaskAutomatic::labels}, [] { return secretLabel(); }, MaskView::automatic, true},
      {"label, no masks", {}, [] { return secretLabel(); }, MaskView::automatic, false},
      {"label marked mask, no masks", {}, [] { return secretLabel(); }, MaskView::mask, true},
      {"label marked unmask, labels masked", {MaskAutomatic::labels}, [] { return secretLabel(); }, MaskView::unmask, false},
      {"text field, default masks", {MaskAutomatic::webViews, MaskAutomatic::inputs}, [] { return secretField(); },
       MaskView::automatic, true},
      {"text field marked mask, no masks", {}, [] { return secretField(); }, MaskView::mask, true},
      {"text field marked unmask, inputs masked", {MaskAutomatic::inputs}, [] { return secretField(); },
       MaskView::unmask, false},
      {"text field, only labels masked", {MaskAutomatic::labels}, [] { return secretField(); }, MaskView::automatic,
       true},
      {"text view, default masks", {MaskAutomatic::webViews, MaskAutomatic::inputs}, [] { return secretTextView(); },
       MaskView::automatic, true},
      {"text view, no masks", {}, [] { return secretTextView(); }, MaskView::automatic, false},
      {"web view, default masks", {MaskAutomatic::webViews, MaskAutomatic::inputs}, [] { return secretWebPage(); },
       MaskView::automatic, true},
      {"web view marked mask", {}, [] { return secretWebPage(); }, MaskView::mask, true},
      {"web view, no masks", {}, [] { return secretWebPage(); }, MaskView::automatic, false},
      {"map marked unmask, no masks", {}, [] { return std::make_shared<platform::MapView>(kSpot); }, MaskView::unmask,
       true},
      {"image, images masked", {MaskAutomatic::images},
       [] { return std::make_shared<platform::ImageView>(kSpot, platform::Image::make("card", {300, 40})); },
       MaskView::automatic, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto view = c.make();
    if (c.own != MaskView::automatic) setObxMasking(*view, c.own);
    window_->addSubview(view);
    setMasks(c.masks);
    recorder_->setImagesTaken(0);  // each case is a screen of its own
    auto image = recordNow();
    ASSERT_NE(image, nullptr);
    int off = pixelsOff(*image, kSpot, 128, 128, 128);
    if (c.masked) {
      EXPECT_EQ(off, 0) << "pixels of the secret's region not in the masking colour";
    } else {
      EXPECT_GT(off, 50) << "the content should show";
    }
    view->removeFromSuperview();
  }
}

// A masked container hides its subtree, and an unmasked input frees its own: a label inside an
// input marked unmask shows even with labels masked.
TEST_F(MaskingTest, MaskingStateFlowsDownTheTree) {
  auto container = std::make_shared<View>(Rect::make(0, 80, 390, 200));
  setObxMasking(*container, MaskView::mask);
  auto inside = secretLabel(Rect::make(20, 20, 300, 40));
  container->addSubview(inside);
  window_->addSubview(container);
  setMasks({});
  auto image = recordNow();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOff(*image, Rect::make(20, 100, 300, 40), 128, 128, 128), 0);
  container->removeFromSuperview();

  auto field = std::make_shared<platform::TextField>(Rect::make(0, 300, 390, 200));
  setObxMasking(*field, MaskView::unmask);
  auto caption = secretLabel(Rect::make(20, 100, 300, 40));
  field->addSubview(caption);
  window_->addSubview(field);
  setMasks({MaskAutomatic::inputs, MaskAutomatic::labels});
  image = recordNow();
  ASSERT_NE(image, nullptr);
  EXPECT_GT(pixelsOff(*image, Rect::make(20, 400, 300, 40), 255, 255, 255), 50) << "the label's text shows";
}

// A hidden view or one of alpha 0 leaves no trace in the image, and what changes in it does not
// change the hash.
TEST_F(MaskingTest, HiddenAndTransparentViewsLeaveNoTrace) {
  window_->addSubview(std::make_shared<platform::Label>(Rect::make(20, 40, 200, 30), "Title"));
  for (bool hidden : {true, false}) {
    SCOPED_TRACE(hidden ? "hidden" : "alpha 0");
    auto ghost = secretLabel(kSpot);
    ghost->setBackgroundColor(platform::Color{1, 0, 0, 1});
    if (hidden) {
      ghost->setHidden(true);
    } else {
      ghost->setAlpha(0);
    }
    window_->addSubview(ghost);
    auto image = recordNow();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(pixelsOff(*image, kSpot, 255, 255, 255, 8, 0), 0);
    auto hashBefore = recorder_->hashNode();
    ghost->setText("another secret");
    ghost->setFrame(Rect::make(0, 300, 390, 60));
    recorder_->setImagesTaken(3);  // past the opening images: an equal hash draws nothing
    EXPECT_EQ(recordNow(), nullptr);
    EXPECT_EQ(recorder_->hashNode(), hashBefore);
    ghost->removeFromSuperview();
    recorder_->setImagesTaken(0);
  }
}

// A block made on a forced screen pins the mask on the view: on a later screen without masks it
// stays blocked.
TEST_F(MaskingTest, ForcedMaskOutlivesTheScreen) {
  auto label = secretLabel();
  window_->addSubview(label);
  setMasks({MaskAutomatic::labels});
  recorder_->setForceMaskForCurrentScreen(true);
  ASSERT_NE(recordNow(), nullptr);
  EXPECT_EQ(obxMasking(*label), MaskView::mask);

  setMasks({});
  recorder_->setForceMaskForCurrentScreen(false);
  auto image = recordNow();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOff(*image, kSpot, 128, 128, 128), 0);
}

// Rectangles the application asked to block are painted on every image of the screen.
TEST_F(MaskingTest, UserRectanglesAreBlockedOnEveryImage) {
  window_->addSubview(secretLabel());
  recorder_->setUserMaskedRects({kSpot});
  for (int image = 0; image < 2; ++image) {
    recorder_->setImagesTaken(0);  // each the first of a screen: an equal wireframe is drawn
    auto decoded = recordNow();
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(pixelsOff(*decoded, kSpot, 128, 128, 128, 24, 4), 0) << "image " << image;
  }
}

// A player view's subviews are masked; when it comes first at its level they hang on a layer that
// is never drawn.
TEST_F(MaskingTest, PlayerSubviewsAreNeverShown) {
  auto player = std::make_shared<PlayerView>(Rect::make(0, 80, 390, 200));
  player->addSubview(secretLabel(Rect::make(20, 20, 300, 40)));
  window_->addSubview(player);
  auto image = recordNow();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOff(*image, Rect::make(20, 100, 300, 40), 255, 255, 255, 8, 0), 0);
}

// obxMaskView lays a masked overlay over a declarative subtree: its text never shows, wherever the
// content moves, however it is resized or scrolled.
TEST_F(MaskingTest, MaskViewHelperFollowsTheContent) {
  struct Case {
    const char* name;
    std::function<void(platform::ScrollView&)> change;
    Rect shown;  // the content's region in the window afterwards
    Rect secret;  // where the secret then is in the window
  } cases[] = {
      {"as laid over", [](platform::ScrollView&) {}, Rect::make(0, 80, 390, 100), Rect::make(20, 100, 300, 40)},
      {"moved", [](platform::ScrollView& v) { v.setFrame(Rect::make(0, 400, 390, 100)); }, Rect::make(0, 400, 390, 100),
       Rect::make(20, 420, 300, 40)},
      {"resized", [](platform::ScrollView& v) { v.setFrame(Rect::make(0, 80, 390, 300)); }, Rect::make(0, 80, 390, 300),
       Rect::make(20, 300, 300, 40)},
      {"scrolled", [](platform::ScrollView& v) { v.setContentOffset({0, 200}); }, Rect::make(0, 80, 390, 100),
       Rect::make(20, 100, 300, 40)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto content = std::make_shared<platform::ScrollView>(Rect::make(0, 80, 390, 100));
    content->setContentSize({390, 600});
    content->addSubview(secretLabel(Rect::make(20, 20, 300, 40)));
    content->addSubview(secretLabel(Rect::make(20, 220, 300, 40)));
    window_->addSubview(content);
    obxMaskView(*content);
    c.change(*content);
    auto image = recordNow();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(pixelsOff(*image, c.shown, 128, 128, 128), 0);
    EXPECT_EQ(pixelsOff(*image, c.secret, 128, 128, 128), 0);
    content->removeFromSuperview();
  }
}

}  // namespace
}  // namespace obx
