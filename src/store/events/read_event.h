// ReadEvent: the reader's view of a stored event, "t" and "o" only; every other key is ignored.
// The upload parser uses it to learn how to decode the rest of a block.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "store/events/event_type.h"
#include "store/events/json_coding.h"

namespace obx {

struct ReadEvent {
  EventType type = EventType::session;
  std::int64_t offset = 0;
  bool operator==(const ReadEvent&) const = default;
};

// Throws DecodingError when "t" is missing or not one of the raw values, or "o" is missing.
void from_json(const Json& json, ReadEvent& event);
// The ReadEvent of one stored block, or nothing.
std::optional<ReadEvent> decodeReadEvent(std::string_view bytes);

}  // namespace obx
