#include <gtest/gtest.h>

#include <functional>

#include "platform/crypto/crypto.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "svr/recording/node.h"
#include "svr/recording_fixture.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using platform::Rect;
using testing::pixelsOff;

class LoFiModeTest : public testing::RecordingFixture {};

// The hash is SHA-256 of the descriptions joined depth first, in lower-case hex.
TEST(NodeTest, HashOfJoinedDescriptions) {
  Node root("a");
  root.subNodes().emplace_back("b");
  root.subNodes().front().subNodes().emplace_back("c");
  root.subNodes().emplace_back("d");
  EXPECT_EQ(root.allDescription(), "abcd");
  // printf abcd | sha256sum
  EXPECT_EQ(root.hash(), "88d4266fd4e6338d13b845fcf289579d209c897823b9217da3e161936f031589");
  EXPECT_EQ(Node("").hash(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

// A still screen yields its first image only: the opening looks that repeat it are dropped, and
// the clock stops asking after them; a layout change that moves nothing yields none; a view that
// moves yields one. An opening look that differs is kept, and the next screen's first image is
// taken even when it equals the last one.
TEST_F(LoFiModeTest, StillScreenYieldsItsFirstImageOnly) {
  auto label = std::make_shared<platform::Label>(Rect::make(20, 40, 200, 30), "Total");
  window_->addSubview(label);
  tick(0);
  for (int i = 0; i < 10; ++i) tick(0.5);
  EXPECT_EQ(publisher_->images.size(), 1u);
  EXPECT_EQ(recorder_->imagesTaken(), 3);

  EXPECT_EQ(recordNow(), nullptr) << "a change that moved nothing is dropped";
  label->setFrame(Rect::make(20, 80, 200, 30));
  EXPECT_NE(recordNow(), nullptr) << "a moved view yields an image";
  EXPECT_EQ(publisher_->images.size(), 2u);

  // The next screen, as SVRTracking starts it.
  recorder_->setIndex(0);
  recorder_->setImagesTaken(0);
  EXPECT_NE(recordNow(), nullptr) << "a screen's first image is always taken";
  label->setFrame(Rect::make(20, 120, 200, 30));
  tick(0.5);
  EXPECT_EQ(publisher_->images.size(), 4u) << "an opening look that changed is kept";
  EXPECT_EQ(recorder_->imagesTaken(), 2);
}

// Ticks closer than one frame apart take nothing; the frame rate follows the video quality.
TEST_F(LoFiModeTest, TicksWithinAFrameTakeNothing) {
  Common common = configuration_->common();
  common.videoQualityType = VideoQualityType::poor;  // 2 frames per second
  common.imageTakenWhenScreenStart = 10;
  configuration_->setCommon(common);
  tick(0);
  tick(0.4);
  tick(0.1);  // exactly 0.5 s since the last image: not greater than one frame
  EXPECT_EQ(recorder_->imagesTaken(), 1);
  tick(0.01);
  EXPECT_EQ(recorder_->imagesTaken(), 2);
}

// The image carries the batch, the screen's size and the index; nothing is published without a
// batch; the developer log names the screen.
TEST_F(LoFiModeTest, PublishedImageCarriesTheScreen) {
  ::obx::testing::LogCapture logs;
  recorder_->setIndex(7);
  ASSERT_NE(recordNow(), nullptr);
  const auto& image = publisher_->images.back();
  EXPECT_EQ(image.index, 7);
  EXPECT_FALSE(image.isPlaceholder);
  EXPECT_EQ(image.batchContext.id, "screen-1_20240101120000");
  EXPECT_EQ(image.size.width, kWidth);
  EXPECT_EQ(image.size.height, kHeight);
  EXPECT_EQ(recorder_->currentImage(), image);
  EXPECT_TRUE(logs.contains("Create image of screen in LoFi screenID: screen-1"));

  recorder_->setBatchContext(std::nullopt);
  window_->addSubview(std::make_shared<platform::Label>(Rect::make(0, 0, 10, 10), "x"));
  EXPECT_EQ(recordNow(), nullptr);
  EXPECT_EQ(recorder_->imagesTaken(), 1) << "without a screen nothing is captured";
}

// A label whose walks are counted: each description read is one visit of the view tree.
class CountedLabel : public platform::Label {
 public:
  using Label::Label;
  std::string debugDescription() const override {
    ++walks;
    return Label::debugDescription();
  }
  mutable int walks = 0;
};

// Ticks that come while earlier images are still being drawn, as on a busy device, on a screen that
// changes without a layout pass: the clock gives exactly the opening quota, and once it is reached
// the ticks walk no view.
TEST_F(LoFiModeTest, OpeningQuotaCountsImagesStillBeingDrawn) {
  auto label = std::make_shared<CountedLabel>(Rect::make(20, 40, 200, 30), "Total");
  window_->addSubview(label);
  recorder_->setNeedNewImage(false);
  scheduler_->advance(1.0);
  for (int tick = 0; tick < 6; ++tick) {
    recorder_->recordScreen(kWidth, kHeight, {});
    // The content moves between the walks, on the main queue, with no one told of a layout.
    scheduler_->mainQueue()->async([label, tick] { label->setText("Total " + std::to_string(tick)); });
  }
  scheduler_->runUntilIdle();
  EXPECT_EQ(publisher_->images.size(), 3u);
  EXPECT_EQ(label->walks, 3);
  for (int i = 0; i < 10; ++i) tick(0.5);
  EXPECT_EQ(publisher_->images.size(), 3u);
  EXPECT_EQ(label->walks, 3) << "a still screen past its quota costs no walk";
}

// A masked view whose block its own layer can't make opaque (translucent itself or below a
// translucent view, or inside an image or web view that shows a render of it), or a translucent
// masking colour: the block is the masking colour, opaque.
TEST_F(LoFiModeTest, TranslucentMaskedViewsGetOpaqueBlocks) {
  const Rect spot = Rect::make(20, 20, 300, 40);  // in the holder, at 20,120 in the window
  struct Case {
    const char* name;
    std::function<std::shared_ptr<platform::View>(std::shared_ptr<platform::View>)> hold;
    double labelAlpha;
    double colourAlpha;
  } cases[] = {
      {"translucent label", [](auto label) { return label; }, 0.5, 1.0},
      {"under a translucent view",
       [](auto label) {
         auto parent = std::make_shared<platform::View>(Rect::make(0, 0, 390, 200));
         parent->setAlpha(0.5);
         parent->addSubview(label);
         return std::shared_ptr<platform::View>(parent);
       },
       1.0, 1.0},
      {"translucent, inside an image view",
       [](auto label) {
         auto image = std::make_shared<platform::ImageView>(Rect::make(0, 0, 390, 200),
                                                            platform::Image::make("photo", {390, 200}));
         image->addSubview(label);
         return std::shared_ptr<platform::View>(image);
       },
       0.5, 1.0},
      {"translucent masking colour", [](auto label) { return label; }, 1.0, 0.4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Common common = configuration_->common();
    common.maskingColor = Color{0.5, 0.5, 0.5, c.colourAlpha};
    configuration_->setCommon(common);
    auto label = testing::secretLabel(spot);
    label->setAlpha(c.labelAlpha);
    auto holder = std::make_shared<platform::View>(Rect::make(0, 100, 390, 200));
    holder->addSubview(c.hold(label));
    window_->addSubview(holder);
    setMasks({MaskAutomatic::labels});
    auto image = recordNow();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(pixelsOff(*image, Rect::make(20, 120, 300, 40), 128, 128, 128), 0);
    holder->removeFromSuperview();
    cache_.removeAllObjects();
  }
}

// An image view is drawn from the cache entry under its description once one is there.
TEST_F(LoFiModeTest, ImageViewsComeFromTheCache) {
  auto view = std::make_shared<platform::ImageView>(Rect::make(10, 10, 40, 40), platform::Image::make("avatar", {40, 40}));
  window_->addSubview(view);
  ASSERT_NE(recordNow(), nullptr);
  EXPECT_EQ(cache_.count(), 1u);
  std::vector<std::uint32_t> red(40 * 40, 0xFFFF0000u);
  cache_.setObject(std::make_shared<const platform::Bitmap>(40, 40, 1.0, red), view->description());
  recorder_->setImagesTaken(0);  // a screen's first image: drawn although its wireframe is unchanged
  auto image = recordNow();
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOff(*image, Rect::make(10, 10, 40, 40), 255, 0, 0), 0);
}

}  // namespace
}  // namespace obx
