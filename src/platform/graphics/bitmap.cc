#include "platform/graphics/bitmap.h"

#include <cstdio>

namespace obx::platform {

Bitmap::Bitmap(int width, int height, double scale, PixelStorage pixels, BitmapKind kind)
    : width_(width), height_(height), scale_(scale > 0 ? scale : 1.0), pixels_(std::move(pixels)), kind_(kind) {
  pixels_.resize(static_cast<std::size_t>(width_ > 0 ? width_ : 0) * static_cast<std::size_t>(height_ > 0 ? height_ : 0));
}

Bitmap::Bitmap(int width, int height, double scale, const std::vector<std::uint32_t>& pixels, BitmapKind kind)
    : Bitmap(width, height, scale, PixelStorage(pixels.begin(), pixels.end()), kind) {}

Pixel Bitmap::pixelAt(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return {};
  std::uint32_t value = pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
  auto alpha = static_cast<std::uint8_t>(value >> 24);
  auto channel = [&](int shift) -> std::uint8_t {
    unsigned premultiplied = (value >> shift) & 0xFFu;
    if (alpha == 0) return 0;
    unsigned straight = (premultiplied * 255u + alpha / 2u) / alpha;
    return static_cast<std::uint8_t>(straight > 255u ? 255u : straight);
  };
  return {channel(16), channel(8), channel(0), alpha};
}

std::string Bitmap::debugDescription() const {
  const char* name = kind_ == BitmapKind::backingStore ? "BackingStore"
                     : kind_ == BitmapKind::tintedImage ? "TintedImage"
                                                         : "Image";
  char text[96];
  std::snprintf(text, sizeof text, "<%s %p; %d x %d>", name, static_cast<const void*>(this), width_, height_);
  return text;
}

std::shared_ptr<const Bitmap> Bitmap::withKind(BitmapKind kind) const {
  return std::make_shared<const Bitmap>(width_, height_, scale_, pixels_, kind);
}

}  // namespace obx::platform
