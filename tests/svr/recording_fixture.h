// A key window on a manual scheduler with a wireframe recorder whose images are collected and
// decoded, for the replay suites.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "platform/ui/window.h"
#include "svr/recording/screen_recording_lofi_mode.h"

namespace obx::testing {

class CollectingPublisher : public SVRImagePublisher {
 public:
  void publishImage(std::optional<ImageToParse> image) override {
    if (image) images.push_back(std::move(*image));
  }
  std::vector<ImageToParse> images;
};

inline bool closeTo(const platform::Pixel& pixel, int red, int green, int blue, int tolerance) {
  return std::abs(pixel.red - red) <= tolerance && std::abs(pixel.green - green) <= tolerance &&
         std::abs(pixel.blue - blue) <= tolerance;
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
    ViewContext screen{"screen-1", 0, "Checkout", {kWidth, kHeight}};
    recorder_->setBatchContext(BatchContext{"screen-1_20240101120000", screen});
  }

  void setMasks(std::vector<MaskAutomatic> masks) { recorder_->setConfigurationMask(std::move(masks)); }

  // Asks for an image now, as a seen change does, and runs the pass and the drawing.
  std::shared_ptr<const platform::Bitmap> recordNow() {
    std::size_t before = publisher_->images.size();
    recorder_->setNeedNewImage(true);
    recorder_->recordScreen(kWidth, kHeight, {});
    scheduler_->runUntilIdle();
    if (publisher_->images.size() == before) return nullptr;
    const auto& data = publisher_->images.back().data;
    return platform::decodeJPEG(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
  }

  // Pixels of `rect` (inset by `inset`) that are not within `tolerance` of the colour.
  static int pixelsOff(const platform::Bitmap& image, platform::Rect rect, int red, int green, int blue,
                       int tolerance = 24, int inset = 3) {
    int off = 0;
    for (int y = static_cast<int>(rect.minY()) + inset; y < static_cast<int>(rect.maxY()) - inset; ++y) {
      for (int x = static_cast<int>(rect.minX()) + inset; x < static_cast<int>(rect.maxX()) - inset; ++x) {
        if (!closeTo(image.pixelAt(x, y), red, green, blue, tolerance)) ++off;
      }
    }
    return off;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<SVRConfiguration> configuration_ = std::make_shared<SVRConfiguration>(nullptr, nullptr);
  BitmapCache cache_;
  std::shared_ptr<ScreenRecordingLOFIMode> recorder_ = ScreenRecordingLOFIMode::make(configuration_, scheduler_, &cache_);
  std::shared_ptr<CollectingPublisher> publisher_ = std::make_shared<CollectingPublisher>();
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>(platform::Rect::make(0, 0, kWidth, kHeight));
};

}  // namespace obx::testing
