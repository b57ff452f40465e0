#include "store/events/event_type.h"

namespace obx {
namespace {

constexpr std::array<std::string_view, kEventTypeCount> kRawValues = {
    "session",   "batch",      "screen",       "aM",          "tB",        "tM",
    "tE",        "samplingStatus", "crash",    "httperror",   "applicationError", "goal",
    "dimension", "form-meta",  "form-view",    "field-view",  "scroll",    "aE",
    "bE",        "performance", "idle",        "formSuccess", "image",     "images",
    "weightedSampling", "network", "placeholder",
};

}  // namespace

const std::array<EventType, kEventTypeCount>& allEventTypes() {
  static const auto types = [] {
    std::array<EventType, kEventTypeCount> list{};
    for (std::size_t i = 0; i < kEventTypeCount; ++i) list[i] = static_cast<EventType>(i);
    return list;
  }();
  return types;
}

std::string_view rawValue(EventType type) { return kRawValues[static_cast<std::size_t>(type)]; }

std::optional<EventType> eventTypeFromRawValue(std::string_view raw) {
  for (std::size_t i = 0; i < kEventTypeCount; ++i) {
    if (kRawValues[i] == raw) return static_cast<EventType>(i);
  }
  return std::nullopt;
}

void to_json(Json& json, EventType type) { json = std::string(rawValue(type)); }

void from_json(const Json& json, EventType& type) {
  std::string raw = json_keys::asString(json, "t");
  auto parsed = eventTypeFromRawValue(raw);
  if (!parsed) throw DecodingError{"Cannot initialize EventType from invalid String value " + raw};
  type = *parsed;
}

}  // namespace obx
