// A key window on a manual scheduler with a wireframe recorder whose images are collected and
// decoded, for the replay suites.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/label.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"
#include "svr/recording/screen_recording_lofi_mode.h"
#include "testing/spool.h"

namespace obx::testing {

class CollectingPublisher : public SVRImagePublisher {
 public:
  void publishImage(std::optional<ImageToParse> image) override {
    if (image) images.push_back(std::move(*image));
  }
  std::vector<ImageToParse> images;
};

inline std::shared_ptr<const platform::Bitmap> decoded(const std::vector<std::uint8_t>& jpeg) {
  return platform::decodeJPEG(std::string_view(reinterpret_cast<const char*>(jpeg.data()), jpeg.size()));
}

inline bool closeTo(const platform::Pixel& pixel, int red, int green, int blue, int tolerance) {
  return std::abs(pixel.red - red) <= tolerance && std::abs(pixel.green - green) <= tolerance &&
         std::abs(pixel.blue - blue) <= tolerance;
}

// Pixels of `rect` (inset by `inset`) that are not within `tolerance` of the colour.
inline int pixelsOff(const platform::Bitmap& image, platform::Rect rect, int red, int green, int blue,
                     int tolerance = 24, int inset = 3) {
  int off = 0;
  for (int y = static_cast<int>(rect.minY()) + inset; y < static_cast<int>(rect.maxY()) - inset; ++y) {
    for (int x = static_cast<int>(rect.minX()) + inset; x < static_cast<int>(rect.maxX()) - inset; ++x) {
      if (!closeTo(image.pixelAt(x, y), red, green, blue, tolerance)) ++off;
    }
  }
  return off;
}

// A card number, and where the privacy tests put it.
inline constexpr const char* kSecret = "4111 1111 1111 1111";
inline const platform::Rect kSpot = platform::Rect::make(20, 100, 300, 40);

// A video player's view: its class name carries the marker.
class PlayerView : public platform::View {
 public:
  OBX_RUNTIME_CLASS(PlayerView, "PlayerView", View)
  explicit PlayerView(platform::Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }
};

inline std::shared_ptr<platform::View> coloured(platform::Rect frame, platform::Color color) {
  auto view = std::make_shared<platform::View>(frame);
  view->setBackgroundColor(color);
  return view;
}

// Views showing the secret.
inline std::shared_ptr<platform::Label> secretLabel(platform::Rect frame = kSpot) {
  return std::make_shared<platform::Label>(frame, kSecret);
}
inline std::shared_ptr<platform::View> secretField(platform::Rect frame = kSpot, bool secure = false) {
  auto field = std::make_shared<platform::TextField>(frame);
  field->setText(kSecret);
  field->setSecureTextEntry(secure);
  return field;
}
inline std::shared_ptr<platform::View> secretTextView(platform::Rect frame = kSpot) {
  auto view = std::make_shared<platform::TextView>(frame);
  view->setText(kSecret);
  return view;
}
inline std::shared_ptr<platform::View> secretWebPage(platform::Rect frame = kSpot) {
  auto web = std::make_shared<platform::WebView>(frame);
  web->setTitle(kSecret);
  web->loadURL("https://example.test/account");
  return web;
}

class RecordingFixture : public ::testing::Test {
 protected:
  static constexpr double kWidth = 390;
  static constexpr double kHeight = 844;

  RecordingFixture() {
    Common common;
    common.maskingColor = Color{0.5, 0.5, 0.5, 1};
    common.maskingAutomatic = {};
    common.imageTakenWhenScreenStart = 3;
    common.imageQualityType = ImageQualityType::ultra;
    configuration_->setCommon(common);
    window_->setBackgroundColor(platform::Color{1, 1, 1, 1});
    window_->makeKeyAndVisible();
    recorder_->setImagePublisher(publisher_);
    recorder_->setBatchContext(kBatch);
  }

  void setMasks(std::vector<MaskAutomatic> masks) { recorder_->setConfigurationMask(std::move(masks)); }

  // Asks `recorder` (the wireframe one unless given) for an image now, as a seen change does, and
  // runs the pass and the drawing; null when nothing was published.
  std::shared_ptr<const platform::Bitmap> recordNow(ScreenRecordingMode* recorder = nullptr,
                                                    ScreenRecording::Completion completion = {},
                                                    platform::Size size = {kWidth, kHeight}) {
    if (!recorder) recorder = recorder_.get();
    std::size_t before = publisher_->images.size();
    recorder->setNeedNewImage(true);
    recorder->recordScreen(size.width, size.height, std::move(completion));
    scheduler_->runUntilIdle();
    return publisher_->images.size() == before ? nullptr : decoded(publisher_->images.back().data);
  }

  // One tick of the clock after `seconds` (0: now) on `recorder`, the wireframe one unless given: no
  // change was seen.
  void tick(double seconds, ScreenRecordingMode* recorder = nullptr) {
    if (seconds > 0) scheduler_->advance(seconds);
    (recorder ? recorder : recorder_.get())->recordScreen(kWidth, kHeight, {});
    scheduler_->runUntilIdle();
  }

  const BatchContext kBatch = Spool::batch("screen-1_20240101120000", 0, "Checkout");
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SVRConfiguration> configuration_ = std::make_shared<SVRConfiguration>(nullptr, nullptr);
  BitmapCache cache_;
  std::shared_ptr<ScreenRecordingLOFIMode> recorder_ = ScreenRecordingLOFIMode::make(configuration_, scheduler_, &cache_);
  std::shared_ptr<CollectingPublisher> publisher_ = std::make_shared<CollectingPublisher>();
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>(platform::Rect::make(0, 0, kWidth, kHeight));
};

}  // namespace obx::testing
