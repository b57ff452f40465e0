// The current image context of a thread, as the platform's UIGraphicsBeginImageContextWithOptions,
// UIGraphicsGetCurrentContext, UIGraphicsGetImageFromCurrentImageContext and UIGraphicsEndImageContext
// keep it: a stack per thread, so a render on a worker queue and one on the main thread never meet.
#pragma once

#include <memory>

#include "platform/graphics/bitmap.h"
#include "platform/graphics/bitmap_context.h"

namespace obx::platform {

// Pushes a new context; when it can't be made nothing is pushed and the current context stays.
void beginImageContextWithOptions(Size size, bool opaque, double scale);
// The top of this thread's stack, or null.
BitmapContext* currentContext();
// The pixels of the current context, or null without one.
std::shared_ptr<const Bitmap> imageFromCurrentImageContext();
// Pops the current context, if any.
void endImageContext();

}  // namespace obx::platform
