// storeReplayImage: how a replay image reaches the spool, for the replay feature while it runs and for
// the next start after a crash: the image file, then its "image" event, then "imagePlaceholder" when
// the image stands in for the screen, all under the image's batch: queued in the read-write queue's
// order, or written on the caller's thread before it returns (the next start, among the crash's own
// events, which are written the same way).
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

enum class ImageWrite { queued, now };

// The image's event, or nothing (with a log line) when a side of its size isn't a whole number of
// points that the event can carry, or when a write made `now` failed.
std::optional<ImageEvent> storeReplayImage(DataController& dataController, const BatchContext& batch,
                                           const ReplayImage& image, platform::Date now,
                                           ImageWrite write = ImageWrite::queued);

}  // namespace obx
