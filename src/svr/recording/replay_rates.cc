#include "svr/recording/replay_rates.h"

#include "platform/ui/application.h"
#include "platform/ui/screen.h"

namespace obx {

namespace {
constexpr double kLargeScreenSide = 1200.0;

bool isLarge(platform::Size screen) { return screen.width > kLargeScreenSide || screen.height > kLargeScreenSide; }

platform::Size mainScreenSize() {
  auto screen = platform::Application::shared()->mainScreen();
  return screen ? screen->bounds().size : platform::Size{};
}
}  // namespace

int framesPerSecond(VideoQualityType quality) {
  switch (quality) {
    case VideoQualityType::poor: return 2;
    case VideoQualityType::low: return 4;
    case VideoQualityType::average: return 6;
    case VideoQualityType::high: return 10;
    case VideoQualityType::ultra: return 12;
  }
  return 6;
}

double jpegCompressionQuality(ImageQualityType quality) {
  switch (quality) {
    case ImageQualityType::poor: return 0.1;
    case ImageQualityType::low: return 0.25;
    case ImageQualityType::average: return 0.5;
    case ImageQualityType::high: return 0.75;
    case ImageQualityType::ultra: return 0.9;
  }
  return 0.5;
}

platform::Size imageSizeForScreen(platform::Size screen) {
  if (isLarge(screen)) return {screen.width / 2, screen.height / 2};
  return screen;
}

double drawingScaleForScreen(platform::Size screen) { return isLarge(screen) ? 0.5 : 1.0; }

platform::Size mainScreenImageSize() { return imageSizeForScreen(mainScreenSize()); }
double mainScreenDrawingScale() { return drawingScaleForScreen(mainScreenSize()); }

}  // namespace obx
