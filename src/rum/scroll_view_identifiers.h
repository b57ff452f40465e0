// The identifiers of scroll views that touches carry: `OBXScrollViewID` is kept on each scroll view
// met, for its life, as an associated object; `ScrollOffset` is what one touch reports of the scroll
// view it moved. `pID` is the identifier of the nearest scroll view above, or the empty identifier
// (-1) when there is none.
#pragma once

#include <cstdint>
#include <optional>

namespace obx {

struct OBXScrollViewID {
  std::optional<std::int64_t> sID;
  std::optional<std::int64_t> pID;
};

struct ScrollOffset {
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::optional<std::int64_t> sID;
  std::optional<std::int64_t> pID;
};

}  // namespace obx
