#include "store/events/read_event.h"

namespace obx {

void from_json(const Json& json, ReadEvent& event) {
  json_keys::requireObject(json, "event");
  event.type = json_keys::require(json, "t").get<EventType>();
  event.offset = json_keys::decodeInteger(json, "o");
}

std::optional<ReadEvent> decodeReadEvent(std::string_view bytes) {
  try {
    return parseJSON(bytes).get<ReadEvent>();
  } catch (const DecodingError&) {
    return std::nullopt;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace obx
