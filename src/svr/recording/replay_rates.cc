#include "svr/recording/replay_rates.h"

#include "platform/ui/application.h"
#include "platform/ui/screen.h"

namespace obx {

namespace {
constexpr double kLargeScreenSide = 1200.0;

bool isLarge(platform::Size screen) { return screen.width > kLargeScreenSide || screen.height > kLargeScreenSide; }
}  // namespace

platform::Size mainScreenSize() {
  auto screen = platform::Application::shared()->mainScreen();
  return screen ? screen->bounds().size : platform::Size{};
}

platform::Size imageSizeForScreen(platform::Size screen) {
  if (isLarge(screen)) return {screen.width / 2, screen.height / 2};
  return screen;
}

double drawingScaleForScreen(platform::Size screen) { return isLarge(screen) ? 0.5 : 1.0; }

platform::Size captureCanvasSize(platform::Size imageSize) {
  double scale = mainScreenDrawingScale();
  return {imageSize.width / scale, imageSize.height / scale};
}

platform::Size mainScreenImageSize() { return imageSizeForScreen(mainScreenSize()); }
double mainScreenDrawingScale() { return drawingScaleForScreen(mainScreenSize()); }

}  // namespace obx
