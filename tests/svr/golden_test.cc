#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>

#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/map_view.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/visual_effect_view.h"
#include "platform/ui/web_view.h"
#include "svr/recording_fixture.h"

namespace obx {
namespace {

using platform::Color;
using platform::Rect;

// Reference images live in tests/svr/golden. OBX_UPDATE_GOLDEN=1 rewrites them from the present
// output; OBX_WRITE_IMAGES=<folder> also writes each image as JPEG there, to look at.
std::filesystem::path goldenPath(const std::string& name) {
  return std::filesystem::path(OBX_TESTS_SOURCE_DIR) / "svr" / "golden" / (name + ".png");
}

class GoldenTest : public testing::RecordingFixture {
 protected:
  // Compares with the reference: font rendering may move a few edge pixels, so up to 1% of pixels
  // may differ by more than 48 in a channel, and the mean difference stays under 2.
  void expectMatches(const std::string& name) {
    auto image = recordNow();
    ASSERT_NE(image, nullptr);
    const auto& jpeg = publisher_->images.back().data;
    if (const char* folder = std::getenv("OBX_WRITE_IMAGES")) {
      testing::writeBytes(std::filesystem::path(folder) / (name + ".jpg"), std::string(jpeg.begin(), jpeg.end()));
    }
    auto path = goldenPath(name);
    if (std::getenv("OBX_UPDATE_GOLDEN")) {
      auto png = platform::pngRepresentation(*image);
      ASSERT_TRUE(png);
      testing::writeBytes(path, std::string(png->begin(), png->end()));
    }
    auto reference = platform::decodePNG(testing::readBytes(path));
    ASSERT_NE(reference, nullptr) << "no reference image at " << path;
    ASSERT_EQ(reference->width(), image->width());
    ASSERT_EQ(reference->height(), image->height());
    long long total = 0;
    int far = 0;
    for (int y = 0; y < image->height(); ++y) {
      for (int x = 0; x < image->width(); ++x) {
        auto a = image->pixelAt(x, y);
        auto b = reference->pixelAt(x, y);
        int d = std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
        total += d;
        if (d > 48) ++far;
      }
    }
    double pixels = static_cast<double>(image->width()) * image->height();
    EXPECT_LT(far / pixels, 0.01) << name << ": " << far << " pixels differ";
    EXPECT_LT(total / pixels, 2.0) << name;
  }
};

std::shared_ptr<platform::Label> label(Rect frame, std::string text, double size = 17) {
  auto view = std::make_shared<platform::Label>(frame, std::move(text));
  view->setFontSize(size);
  return view;
}

// A sign-in form under the default masks: title and captions show, the inputs and the web view are
// blocks, the map is a block, the button and the picture show.
TEST_F(GoldenTest, SignInForm) {
  setMasks({MaskAutomatic::webViews, MaskAutomatic::inputs});
  auto header = std::make_shared<platform::View>(Rect::make(0, 0, 390, 100));
  header->setBackgroundColor(Color{0.1, 0.3, 0.6, 1});
  auto title = label(Rect::make(20, 50, 350, 36), "Sign in", 28);
  title->setTextColor(Color{1, 1, 1, 1});
  header->addSubview(title);
  window_->addSubview(header);
  window_->addSubview(label(Rect::make(20, 120, 350, 20), "Email", 15));
  auto email = std::make_shared<platform::TextField>(Rect::make(20, 145, 350, 40));
  email->setText("someone@example.test");
  window_->addSubview(email);
  window_->addSubview(label(Rect::make(20, 200, 350, 20), "Password", 15));
  auto password = std::make_shared<platform::TextField>(Rect::make(20, 225, 350, 40));
  password->setText("hunter2");
  password->setSecureTextEntry(true);
  window_->addSubview(password);
  auto button = std::make_shared<platform::Button>(Rect::make(20, 290, 350, 48), "Continue");
  button->setBackgroundColor(Color{0.9, 0.93, 1, 1});
  window_->addSubview(button);
  window_->addSubview(std::make_shared<platform::ImageView>(Rect::make(20, 360, 100, 100),
                                                            platform::Image::make("logo", {100, 100})));
  window_->addSubview(std::make_shared<platform::MapView>(Rect::make(140, 360, 230, 100)));
  auto web = std::make_shared<platform::WebView>(Rect::make(20, 480, 350, 120));
  web->setTitle("Terms of service");
  window_->addSubview(web);
  window_->addSubview(label(Rect::make(20, 620, 350, 60), "By continuing you accept the terms of service and the privacy notice.", 13));
  static_cast<platform::Label&>(*window_->subviews().back()).setNumberOfLines(0);
  expectMatches("sign_in_form");
}

// A scrolled list under a blurred bar with every label masked: rows move up by the offset, text
// becomes rounded blocks, the bar keeps its tone.
TEST_F(GoldenTest, ScrolledListWithMaskedLabels) {
  setMasks({MaskAutomatic::labels});
  auto list = std::make_shared<platform::ScrollView>(Rect::make(0, 0, 390, 844));
  list->setContentSize({390, 20 * 80});
  for (int row = 0; row < 20; ++row) {
    auto cell = std::make_shared<platform::View>(Rect::make(0, row * 80, 390, 80));
    cell->setBackgroundColor(row % 2 ? Color{0.95, 0.95, 0.97, 1} : Color{1, 1, 1, 1});
    cell->addSubview(label(Rect::make(16, 12, 300, 24), "Payment to account " + std::to_string(row)));
    cell->addSubview(label(Rect::make(16, 44, 200, 20), "EUR 1,234.00", 14));
    list->addSubview(cell);
  }
  window_->addSubview(list);
  list->setContentOffset({0, 120});
  auto bar = std::make_shared<platform::VisualEffectView>(Rect::make(0, 764, 390, 80), platform::BlurEffectStyle::dark);
  window_->addSubview(bar);
  expectMatches("scrolled_list");
}

}  // namespace
}  // namespace obx
