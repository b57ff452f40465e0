// The figures the recorders read from the configuration: frames per second of the video quality and
// JPEG quality of the image quality (config/quality_rates.h), and the image size and drawing scale
// of the main screen.
#pragma once

#include "config/quality_rates.h"
#include "platform/ui/geometry.h"

namespace obx {

// The screen's bounds, both sides halved when either exceeds 1200 points.
platform::Size imageSizeForScreen(platform::Size screen);
// 0.5 when the screen's width or height exceeds 1200 points, else 1.0.
double drawingScaleForScreen(platform::Size screen);
// The size in points a capture draws the whole screen into, for an image of `imageSize`: the image
// size with the main screen's drawing scale undone, so that at that scale it has the image's pixels.
platform::Size captureCanvasSize(platform::Size imageSize);
// The application's main screen's bounds, and the two above for it.
platform::Size mainScreenSize();
platform::Size mainScreenImageSize();
double mainScreenDrawingScale();

}  // namespace obx
