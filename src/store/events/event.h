// Event<T>: the envelope of every stored and uploaded event: "t" (the raw EventType), "o" (offset,
// whole milliseconds from the screen's start, may be negative) and "d" (the payload T), all three
// always present. `Payload` holds any payload type, and `AnyEvent` an event whose payload type is
// chosen by its "t" through the table of `withPayloadType`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "store/events/custom_dimension.h"
#include "store/events/event_type.h"
#include "store/events/json_coding.h"
#include "store/events/payloads.h"

namespace obx {

template <typename T>
struct Event {
  EventType type = EventType::session;
  std::int64_t offset = 0;
  T data{};
  bool operator==(const Event&) const = default;
};

template <typename T>
void to_json(Json& json, const Event<T>& event) {
  json = Json::object();
  json["t"] = event.type;
  json["o"] = event.offset;
  json["d"] = event.data;
}

template <typename T>
void from_json(const Json& json, Event<T>& event) {
  json_keys::requireObject(json, "event");
  event.type = json_keys::require(json, "t").template get<EventType>();
  event.offset = json_keys::decodeInteger(json, "o");
  event.data = json_keys::require(json, "d").template get<T>();
}

// The bytes of Event{type, offset, data} as encodeJSON gives them, written without building the
// envelope. Throws EncodingError as encodeJSON does.
std::string encodeEvent(EventType type, std::int64_t offset, const Json& data);

// Every payload type of the table; touch events share vector<Touch>, "aE" and "bE" share string.
using Payload = std::variant<Session, Batch, Screen, AppMiscellaneous, std::vector<Touch>, Sampling, Crash, HTTPError,
                             AppError, Goal, CustomDimension, FormMeta, FormView, FieldView, std::vector<Scroll>,
                             std::string, Performance, Idle, FormSuccess, ImageEvent, std::vector<ImageData>,
                             WeightedSampling, Network, bool>;

// Calls `f(std::type_identity<T>{})` with the payload type T that decodes an event of `type`.
template <typename F>
decltype(auto) withPayloadType(EventType type, F&& f) {
  switch (type) {
    case EventType::session: return f(std::type_identity<Session>{});
    case EventType::batch: return f(std::type_identity<Batch>{});
    case EventType::screen: return f(std::type_identity<Screen>{});
    case EventType::appMiscellaneous: return f(std::type_identity<AppMiscellaneous>{});
    case EventType::touchBegan:
    case EventType::touchMoved:
    case EventType::touchEnded: return f(std::type_identity<std::vector<Touch>>{});
    case EventType::samplingStatus: return f(std::type_identity<Sampling>{});
    case EventType::crash: return f(std::type_identity<Crash>{});
    case EventType::httpError: return f(std::type_identity<HTTPError>{});
    case EventType::appError: return f(std::type_identity<AppError>{});
    case EventType::goal: return f(std::type_identity<Goal>{});
    case EventType::dimension: return f(std::type_identity<CustomDimension>{});
    case EventType::formMeta: return f(std::type_identity<FormMeta>{});
    case EventType::formView: return f(std::type_identity<FormView>{});
    case EventType::fieldView: return f(std::type_identity<FieldView>{});
    case EventType::scroll: return f(std::type_identity<std::vector<Scroll>>{});
    case EventType::applicationEnd:
    case EventType::batchEnd: return f(std::type_identity<std::string>{});
    case EventType::performance: return f(std::type_identity<Performance>{});
    case EventType::idle: return f(std::type_identity<Idle>{});
    case EventType::formSuccess: return f(std::type_identity<FormSuccess>{});
    case EventType::image: return f(std::type_identity<ImageEvent>{});
    case EventType::images: return f(std::type_identity<std::vector<ImageData>>{});
    case EventType::weightedSampling: return f(std::type_identity<WeightedSampling>{});
    case EventType::network: return f(std::type_identity<Network>{});
    case EventType::imagePlaceholder: return f(std::type_identity<bool>{});
  }
  return f(std::type_identity<bool>{});
}

// True when `payload` holds the type that the table gives for `type`.
bool payloadMatches(EventType type, const Payload& payload);

using AnyEvent = Event<Payload>;

void to_json(Json& json, const Payload& payload);
// Event<Payload> decodes "d" with the type its "t" names.
template <>
void from_json(const Json& json, Event<Payload>& event);

// One stored block decoded whole, or nothing when it is not an event of the table.
std::optional<AnyEvent> decodeAnyEvent(std::string_view bytes);
// The same from a block already parsed.
std::optional<AnyEvent> decodeParsedEvent(const Json& document);

}  // namespace obx
