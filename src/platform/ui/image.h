// Image: a picture as the toolkit holds it: a size in points, a name and, when the host decoded
// one (decodePNG, decodeJPEG), its pixels. An image without pixels draws as a flat tone derived
// from its name, so that different pictures still look different.
#pragma once

#include <memory>
#include <string>

#include "platform/graphics/bitmap.h"
#include "platform/ui/geometry.h"

namespace obx::platform {

struct Image {
  std::string name;
  Size size;
  double scale = 1.0;
  std::shared_ptr<const Bitmap> bitmap;
  static std::shared_ptr<const Image> make(std::string name, Size size) {
    return std::make_shared<const Image>(Image{std::move(name), size, 1.0, nullptr});
  }
  static std::shared_ptr<const Image> make(std::string name, std::shared_ptr<const Bitmap> bitmap) {
    Size size = bitmap ? bitmap->size() : Size{};
    double scale = bitmap ? bitmap->scale() : 1.0;
    return std::make_shared<const Image>(Image{std::move(name), size, scale, std::move(bitmap)});
  }
};

}  // namespace obx::platform
