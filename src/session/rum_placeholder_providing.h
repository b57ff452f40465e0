// RUMPlaceholderProviding: where RUMCore gets the placeholder image of a screen that is not
// recorded. The answer comes later, on a queue of the provider, and may be absent.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "session/placeholder_reason.h"

namespace obx {

class RUMPlaceholderProviding {
 public:
  using Completion = std::function<void(std::optional<std::string> jpegData)>;
  virtual ~RUMPlaceholderProviding() = default;
  virtual void placeholderImage(PlaceholderReason reason, Completion completion) = 0;
};

}  // namespace obx
