#include "session/image_placeholder_builder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "platform/crypto/base64.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "session/placeholder_assets.h"
#include "store/cache_controller.h"
#include "store/store_test_support.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using platform::Pixel;

bool isWhite(Pixel p) { return p.red > 235 && p.green > 235 && p.blue > 235; }
// The emblem's frame colour, a slate blue, give or take the JPEG's error.
bool isSlate(Pixel p) {
  return std::abs(p.red - 74) < 30 && std::abs(p.green - 89) < 30 && std::abs(p.blue - 112) < 30 && p.blue - p.red > 20;
}
// The text: black, or grey at its anti-aliased edges, never coloured.
bool isInk(Pixel p) {
  int spread = std::max({p.red, p.green, p.blue}) - std::min({p.red, p.green, p.blue});
  return p.red < 120 && p.green < 120 && p.blue < 120 && spread < 15;
}

// Rows of ink pixels grouped into bands separated by rows without ink: the lines of text.
struct InkBands {
  int count = 0;
  int left = 1 << 30;  // the leftmost and rightmost ink column
  int right = -1;
  int bottom = -1;  // the last ink row
};

InkBands inkBands(const platform::Bitmap& image, int fromRow) {
  InkBands bands;
  bool inBand = false;
  for (int y = fromRow; y < image.height(); ++y) {
    bool rowHasInk = false;
    for (int x = 0; x < image.width(); ++x) {
      if (!isInk(image.pixelAt(x, y))) continue;
      rowHasInk = true;
      bands.left = std::min(bands.left, x);
      bands.right = std::max(bands.right, x);
    }
    if (rowHasInk && !inBand) ++bands.count;
    if (rowHasInk) bands.bottom = y;
    inBand = rowHasInk;
  }
  return bands;
}

std::shared_ptr<const platform::Bitmap> decode(const std::optional<std::string>& jpeg) {
  return jpeg ? platform::decodeJPEG(*jpeg) : nullptr;
}

class ImagePlaceholderBuilderTest : public ::testing::Test {
 protected:
  // Asks the builder and runs the main queue; the completion's value.
  std::optional<std::string> request(PlaceholderReason reason) {
    std::vector<std::optional<std::string>> results;
    builder_->createPlaceholder(reason, [&](std::optional<std::string> data) { results.push_back(std::move(data)); });
    EXPECT_TRUE(results.empty()) << "the call returns before the work is done";
    scheduler_->runUntilIdle();
    EXPECT_EQ(results.size(), 1u);
    return results.empty() ? std::nullopt : results.front();
  }

  void setScreen(double width, double height) {
    application_->mainScreen()->setBounds(platform::Rect::make(0, 0, width, height));
  }

  std::filesystem::path cacheEntry(const std::string& key) const {
    return platform::applicationSupportDirectory() / "obx.ombrix.cache" / "config" / key;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<CacheController> cache_ =
      CacheController::make(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write"));
  std::shared_ptr<ImagePlaceholderBuilder> builder_ =
      std::make_shared<ImagePlaceholderBuilder>(cache_, scheduler_->mainQueue());
};

// Each reason carries its own text, and each kind of stress its reason.
TEST(PlaceholderReasonTest, TextsAndStressReasons) {
  const std::vector<std::pair<PlaceholderReason, std::string>> texts = {
      {PlaceholderReason::highCPU, "Screen not recorded due to high cpu usage"},
      {PlaceholderReason::highMemory, "Screen not recorded due to high memory usage"},
      {PlaceholderReason::lowBattery, "Screen not recorded due to low battery"},
      {PlaceholderReason::noPermissions, "No permissions to record this screen"},
      {PlaceholderReason::videoDisabled, "Video disabled on this screen"},
      {PlaceholderReason::noVideo, "No video could be recorded for this screen"},
      {PlaceholderReason::videoMasked, "Video recording masked for this screen"},
  };
  for (std::size_t number = 0; number < texts.size(); ++number) {
    EXPECT_EQ(static_cast<std::size_t>(texts[number].first), number);
    EXPECT_EQ(placeholderReasonMessage(texts[number].first), texts[number].second);
  }
  EXPECT_EQ(placeholderReasonFor(DeviceStressedType::cpu), PlaceholderReason::highCPU);
  EXPECT_EQ(placeholderReasonFor(DeviceStressedType::memory), PlaceholderReason::highMemory);
  EXPECT_EQ(placeholderReasonFor(DeviceStressedType::battery), PlaceholderReason::lowBattery);
}

// The placeholder is a JPEG of the screen's size (halved, and drawn at half scale, past 1200 points): white
// margins, the slate emblem centred over the reason's text, the text inside the page's 20-point margins, on
// one line when it fits and wrapped when it does not.
TEST_F(ImagePlaceholderBuilderTest, PageShowsEmblemOverWrappedText) {
  struct Case {
    double width, height;
    PlaceholderReason reason;
    int pixelWidth, pixelHeight;
    double scale;  // pixels per point of the screen's page
    bool wraps;
  };
  const std::vector<Case> cases = {
      {390, 844, PlaceholderReason::videoDisabled, 390, 844, 1.0, false},
      {390, 844, PlaceholderReason::videoMasked, 390, 844, 1.0, false},
      {200, 600, PlaceholderReason::noVideo, 200, 600, 1.0, true},
      {1366, 1024, PlaceholderReason::noPermissions, 342, 256, 0.25, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height));
    setScreen(c.width, c.height);
    auto image = decode(request(c.reason));
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(image->width(), c.pixelWidth);
    ASSERT_EQ(image->height(), c.pixelHeight);

    // Corners and the side margins are white.
    int margin = static_cast<int>(20 * c.scale) - 1;
    for (int y = 0; y < image->height(); y += 3) {
      for (int x : {0, margin, image->width() - 1 - margin, image->width() - 1}) {
        ASSERT_TRUE(isWhite(image->pixelAt(x, y))) << "at " << x << ", " << y;
      }
    }

    // The emblem: slate pixels in the middle, all of them above the text.
    int slateTop = -1;
    int slateBottom = -1;
    for (int y = 0; y < image->height(); ++y) {
      for (int x = image->width() / 4; x < image->width() * 3 / 4; ++x) {
        if (!isSlate(image->pixelAt(x, y))) continue;
        if (slateTop < 0) slateTop = y;
        slateBottom = y;
      }
    }
    ASSERT_GE(slateTop, 0) << "no emblem";
    InkBands text = inkBands(*image, slateBottom + 1);
    ASSERT_GE(text.count, 1) << "no text under the emblem";
    EXPECT_EQ(text.count > 1, c.wraps) << text.count << " lines";
    EXPECT_GT(text.left, margin);
    EXPECT_LT(text.right, image->width() - 1 - margin);
    // The stack of emblem and text is centred: white above the emblem and below the text.
    EXPECT_GT(slateTop, image->height() / 8);
    EXPECT_GT(image->height() - text.bottom, image->height() / 8);
  }
}

// The second request of a reason and orientation reads the cache: the same bytes, even when the screen has
// changed size meanwhile. A rotation, or another reason, makes a new entry.
TEST_F(ImagePlaceholderBuilderTest, CachedByReasonAndOrientation) {
  auto first = request(PlaceholderReason::noVideo);
  ASSERT_TRUE(first.has_value());
  EXPECT_TRUE(std::filesystem::exists(cacheEntry("5-portrait")));

  setScreen(300, 500);
  EXPECT_EQ(request(PlaceholderReason::noVideo), first) << "read from the cache, not drawn again";

  auto other = request(PlaceholderReason::videoMasked);
  ASSERT_NE(decode(other), nullptr);
  EXPECT_EQ(decode(other)->width(), 300) << "another reason is drawn for the present screen";
  EXPECT_TRUE(std::filesystem::exists(cacheEntry("6-portrait")));

  application_->rotate(platform::DeviceOrientation::landscapeLeft);
  auto landscape = decode(request(PlaceholderReason::noVideo));
  ASSERT_NE(landscape, nullptr);
  EXPECT_EQ(landscape->width(), 500);
  EXPECT_EQ(landscape->height(), 300);
  EXPECT_TRUE(std::filesystem::exists(cacheEntry("5-landscape")));

  application_->rotate(platform::DeviceOrientation::portrait);
  EXPECT_EQ(request(PlaceholderReason::noVideo), first);

  // Whatever the cache holds under the key is what the caller gets.
  cache_->saveImage("cached bytes", "2-portrait");
  EXPECT_EQ(request(PlaceholderReason::lowBattery), std::optional<std::string>("cached bytes"));
}

// A page that can't be drawn (no screen, or one too large for a bitmap) gives the built-in 512 by 512
// fallback, which is not cached, so that a later screen gets its real page.
TEST_F(ImagePlaceholderBuilderTest, FallbackWhenThePageCannotBeDrawn) {
  const std::vector<platform::Size> screens = {{0, 0}, {0, 844}, {390, 0}, {80000, 80000}};
  for (platform::Size screen : screens) {
    SCOPED_TRACE(std::to_string(screen.width) + " x " + std::to_string(screen.height));
    testing::LogCapture logs;
    setScreen(screen.width, screen.height);
    auto image = decode(request(PlaceholderReason::highMemory));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->width(), 512);
    EXPECT_EQ(image->height(), 512);
    EXPECT_FALSE(std::filesystem::exists(cacheEntry("1-portrait")));
    EXPECT_TRUE(
        logs.contains("Placeholder page could not be drawn, the "
                      "fallback image is used for 1-portrait",
                      LogLevel::developer));
  }
  setScreen(390, 844);
  EXPECT_EQ(decode(request(PlaceholderReason::highMemory))->width(), 390);
}

// The built-in pictures decode to their stated forms: the emblem a 1664 by 1004 PNG with transparency
// around its drawing, the fallback a 512 by 512 JPEG.
TEST(PlaceholderAssetsTest, BuiltInPicturesDecode) {
  auto emblemBytes = platform::base64Decode(kPlaceholderEmblemBase64);
  ASSERT_TRUE(emblemBytes.has_value());
  auto emblem = platform::decodePNG(*emblemBytes);
  ASSERT_NE(emblem, nullptr);
  EXPECT_EQ(emblem->width(), 1664);
  EXPECT_EQ(emblem->height(), 1004);
  EXPECT_EQ(emblem->pixelAt(0, 0).alpha, 0);
  EXPECT_EQ(emblem->pixelAt(400, 502).alpha, 255);

  auto fallback = ImagePlaceholderBuilder::fallbackPlaceholder();
  ASSERT_TRUE(fallback.has_value());
  auto picture = platform::decodeJPEG(*fallback);
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(picture->width(), 512);
  EXPECT_EQ(picture->height(), 512);
}

}  // namespace
}  // namespace obx
