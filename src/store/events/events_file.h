// EventsFile: a list of events under one key, "events": the body the upload assembles.
#pragma once

#include <vector>

#include "store/events/event.h"

namespace obx {

struct EventsFile {
  std::vector<AnyEvent> events;
  bool operator==(const EventsFile&) const = default;
};

inline void to_json(Json& json, const EventsFile& file) {
  json = Json::object();
  json["events"] = Json::array();
  for (const auto& event : file.events) json["events"].push_back(event);
}

inline void from_json(const Json& json, EventsFile& file) {
  const Json& events = json_keys::require(json, "events");
  if (!events.is_array()) throw DecodingError{"Type mismatch for \"events\": expected array"};
  file.events.clear();
  for (const auto& event : events) file.events.push_back(event.get<AnyEvent>());
}

}  // namespace obx
