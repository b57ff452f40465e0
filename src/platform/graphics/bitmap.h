// Bitmap: the pixels of a finished image (the platform's CGImage), premultiplied 32-bit ARGB in
// native byte order, rows top to bottom. `scale` is pixels per point. Immutable once made, so it may
// be shared between threads.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/graphics/page_memory.h"
#include "platform/ui/geometry.h"

namespace obx::platform {

// What drew the pixels: a view's own drawing of its text or shapes (a backing store), a tinted
// template, or a picture.
enum class BitmapKind { image, backingStore, tintedImage };

struct Pixel {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  std::uint8_t alpha = 0;
  bool operator==(const Pixel&) const = default;
};

class Bitmap {
 public:
  Bitmap(int width, int height, double scale, PixelStorage pixels, BitmapKind kind = BitmapKind::image);
  Bitmap(int width, int height, double scale, const std::vector<std::uint32_t>& pixels,
         BitmapKind kind = BitmapKind::image);

  int width() const { return width_; }
  int height() const { return height_; }
  double scale() const { return scale_; }
  // The size in points.
  Size size() const { return {width_ / scale_, height_ / scale_}; }
  BitmapKind kind() const { return kind_; }
  const PixelStorage& pixels() const { return pixels_; }
  // Straight (not premultiplied) colour at a pixel; transparent black outside.
  Pixel pixelAt(int x, int y) const;
  // "<BackingStore 0x...; 120 x 20>" or "<Image ...>", "<TintedImage ...>": what kind tests read.
  std::string debugDescription() const;
  // The same pixels under another kind.
  std::shared_ptr<const Bitmap> withKind(BitmapKind kind) const;

 private:
  int width_;
  int height_;
  double scale_;
  PixelStorage pixels_;
  BitmapKind kind_;
};

}  // namespace obx::platform
