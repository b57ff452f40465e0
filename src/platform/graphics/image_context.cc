#include "platform/graphics/image_context.h"

#include <vector>

namespace obx::platform {

namespace {
std::vector<std::unique_ptr<BitmapContext>>& stack() {
  thread_local std::vector<std::unique_ptr<BitmapContext>> contexts;
  return contexts;
}
}  // namespace

void beginImageContextWithOptions(Size size, bool opaque, double scale) {
  if (auto context = BitmapContext::make(size, opaque, scale)) stack().push_back(std::move(context));
}

BitmapContext* currentContext() { return stack().empty() ? nullptr : stack().back().get(); }

std::shared_ptr<const Bitmap> imageFromCurrentImageContext() {
  auto* context = currentContext();
  return context ? context->makeImage() : nullptr;
}

void endImageContext() {
  if (!stack().empty()) stack().pop_back();
}

}  // namespace obx::platform
