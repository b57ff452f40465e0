// SVRImagePublisher: where a recorder hands a finished image. Implementations take it on their own
// queue; an absent image is dropped. Called from the recorder's drawing queue.
#pragma once

#include <optional>

#include "svr/recording/image_to_parse.h"

namespace obx {

class SVRImagePublisher {
 public:
  virtual ~SVRImagePublisher() = default;
  virtual void publishImage(std::optional<ImageToParse> image) = 0;
};

}  // namespace obx
