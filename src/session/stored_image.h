// storeReplayImage: how a replay image reaches the spool, for the replay feature while it runs and for
// the next start after a crash: the image file, then its "image" event, then "imagePlaceholder" when
// the image stands in for the screen, all under the image's batch, in the read-write queue's order.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "lifecycle/batch_context.h"
#include "platform/dispatch/clock.h"
#include "store/events/payloads.h"

namespace obx {

class DataController;

struct ReplayImage {
  std::string_view jpeg;
  Size size;  // in points, as the image event carries it
  std::int64_t index = 0;
  bool isPlaceholder = false;
};

// The image's event, or nothing (with a log line) when a side of its size isn't a whole number of
// points that the event can carry.
std::optional<ImageEvent> storeReplayImage(DataController& dataController, const BatchContext& batch,
                                           const ReplayImage& image, platform::Date now);

}  // namespace obx
