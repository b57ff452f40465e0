// What the quality settings mean in numbers: frames per second of a video quality and the JPEG
// quality of an image quality. The recorders and the upload's image durations read the same table.
#pragma once

#include "obx/enums.h"

namespace obx {

int framesPerSecond(VideoQualityType quality);
double jpegCompressionQuality(ImageQualityType quality);

}  // namespace obx
