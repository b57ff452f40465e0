// ImageToParse: one finished replay image on its way to the store: JPEG bytes, the screen's size in
// points, the batch it belongs to, its index on the screen, and whether it stands in for the screen
// (a placeholder).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "lifecycle/batch_context.h"

namespace obx {

struct ImageToParse {
  std::vector<std::uint8_t> data;
  Size size;
  BatchContext batchContext;
  std::int64_t index = 0;
  bool isPlaceholder = false;
  bool operator==(const ImageToParse&) const = default;
};

}  // namespace obx
