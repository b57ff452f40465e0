// Image: a picture as the toolkit holds it: a size in points and a name. Pixels belong to the
// graphics layer, which decodes and draws images.
#pragma once

#include <memory>
#include <string>

#include "platform/ui/geometry.h"

namespace obx::platform {

struct Image {
  std::string name;
  Size size;
  double scale = 1.0;
  static std::shared_ptr<const Image> make(std::string name, Size size) {
    return std::make_shared<const Image>(Image{std::move(name), size, 1.0});
  }
};

}  // namespace obx::platform
