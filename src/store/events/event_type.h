// EventType: the kind of a stored event, written in the envelope as its raw string. The order of
// the cases is their number inside the program. payloadTypeOf-style dispatch lives in event.h.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "store/events/json_coding.h"

namespace obx {

enum class EventType {
  session,
  batch,
  screen,
  appMiscellaneous,
  touchBegan,
  touchMoved,
  touchEnded,
  samplingStatus,
  crash,
  httpError,
  appError,
  goal,
  dimension,
  formMeta,
  formView,
  fieldView,
  scroll,
  applicationEnd,
  batchEnd,
  performance,
  idle,
  formSuccess,
  image,
  images,
  weightedSampling,
  network,
  imagePlaceholder,
};

inline constexpr std::size_t kEventTypeCount = 27;

// Every case, in order.
const std::array<EventType, kEventTypeCount>& allEventTypes();
// The string written under "t".
std::string_view rawValue(EventType type);
// The case whose raw value is `raw`, or nothing for an unknown string.
std::optional<EventType> eventTypeFromRawValue(std::string_view raw);

void to_json(Json& json, EventType type);
// Throws DecodingError for a string that is not one of the raw values.
void from_json(const Json& json, EventType& type);

}  // namespace obx
