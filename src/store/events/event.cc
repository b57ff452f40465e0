#include "store/events/event.h"

#include <charconv>

namespace obx {

std::string encodeEvent(EventType type, std::int64_t offset, const Json& data) {
  // Raw type values are plain ASCII letters and dashes: nothing in them needs escaping.
  std::string out = R"({"t":")";
  out.reserve(256);
  out += rawValue(type);
  out += R"(","o":)";
  char number[24];
  out.append(number, std::to_chars(number, number + sizeof number, offset).ptr);
  out += R"(,"d":)";
  appendJSON(data, out);
  out += '}';
  return out;
}

bool payloadMatches(EventType type, const Payload& payload) {
  return withPayloadType(type, [&](auto tag) {
    using T = typename decltype(tag)::type;
    return std::holds_alternative<T>(payload);
  });
}

void to_json(Json& json, const Payload& payload) {
  std::visit([&](const auto& value) { json = value; }, payload);
}

template <>
void from_json(const Json& json, Event<Payload>& event) {
  json_keys::requireObject(json, "event");
  event.type = json_keys::require(json, "t").get<EventType>();
  event.offset = json_keys::decodeInteger(json, "o");
  const Json& data = json_keys::require(json, "d");
  event.data = withPayloadType(event.type, [&](auto tag) -> Payload {
    using T = typename decltype(tag)::type;
    if constexpr (std::is_same_v<T, std::string>) {
      return json_keys::asString(data, "d");
    } else if constexpr (std::is_same_v<T, bool>) {
      return json_keys::asBool(data, "d");
    } else {
      return data.get<T>();
    }
  });
}

std::optional<AnyEvent> decodeAnyEvent(std::string_view bytes) {
  try {
    return decodeParsedEvent(parseJSON(bytes));
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::optional<AnyEvent> decodeParsedEvent(const Json& document) {
  try {
    return document.get<AnyEvent>();
  } catch (const DecodingError&) {
    return std::nullopt;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace obx
