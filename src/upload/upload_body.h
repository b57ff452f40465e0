// The JSON body of one screen's upload, built from the screen's stored blocks: every block decoded
// by its "t", an "images" event made of the "image" events, all ordered by offset, URL parameters
// blanked when they may not be captured, "batch", "bE" and "image" left out, an "aE" moved to the
// end when one stands before it, and the list written as one compact JSON array with slashes
// unescaped. Pure functions over their arguments: any thread. Failures are logged here with the
// texts the upload's diagnostics use, and come back as nothing.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "obx/enums.h"
#include "store/events/event.h"

namespace obx {

struct UploadBodySettings {
  VideoQualityType videoQualityType = VideoQualityType::average;
  bool captureURLParameters = true;
};

// One entry per block that decodes as an event of the table, in block order.
std::vector<AnyEvent> decodeUploadEvents(const std::vector<std::string>& blocks);

// The "images" event of `events`, or nothing when they hold no "image" event. Images are ordered
// by offset; each lasts until the next one, the last until the last "bE" (or, when there is none or
// that gives less than 1, one frame at `quality`'s rate). Images sharing an index stay together,
// in the order their index first appears. The event's offset is the last "bE"'s, or 0.
std::optional<AnyEvent> makeImagesEvent(const std::vector<AnyEvent>& events, VideoQualityType quality);

// Closes the list with a single "aE" when one stands before its end: every "aE" goes and one with
// an empty text is added 10 ms after the last remaining event. A list without "aE", or that ends
// with one, is left as it is.
void forceApplicationEnd(std::vector<AnyEvent>& events);

// The compact JSON bytes of the body, or nothing when it can't be built (logged at `qa`).
std::optional<std::string> buildUploadBody(const std::vector<std::string>& blocks, const UploadBodySettings& settings);
// The same from the blocks already decoded (`events`, as decodeUploadEvents gives them); `blocks`
// are only read to be logged when the body fails.
std::optional<std::string> buildUploadBody(std::vector<AnyEvent> events, const std::vector<std::string>& blocks,
                                           const UploadBodySettings& settings);

}  // namespace obx
