// JSON coding shared by every stored record: the one encoder setting (compact, slashes as they
// stand, UTF-8 as it stands), and strict readers of keyed values. A required key that is missing or
// of the wrong type throws DecodingError; an optional key that is missing or null reads as no value.
// Objects keep their keys in the order they were written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace obx {

using Json = nlohmann::ordered_json;

struct DecodingError {
  std::string description;
};

struct EncodingError {
  std::string description;
};

// Compact JSON bytes of `value`. Throws EncodingError for a number that is not finite (JSON has no
// form for it) and for a string that is not valid UTF-8.
std::string encodeJSON(const Json& value);
// The same, appended to `out`. Throws as encodeJSON does, leaving `out` as it was.
void appendJSON(const Json& value, std::string& out);
// Throws DecodingError when `bytes` is not one JSON text.
Json parseJSON(std::string_view bytes);

// A 32-bit float as JSON writes it: its shortest decimal form, not the digits of its double widening.
double jsonNumberFromFloat(float value);

namespace json_keys {

const Json& requireObject(const Json& object, std::string_view what);
const Json& require(const Json& object, const char* key);

std::string decodeString(const Json& object, const char* key);
std::int64_t decodeInteger(const Json& object, const char* key);
double decodeDouble(const Json& object, const char* key);
float decodeFloat(const Json& object, const char* key);
bool decodeBool(const Json& object, const char* key);

std::optional<std::string> decodeOptionalString(const Json& object, const char* key);
std::optional<std::int64_t> decodeOptionalInteger(const Json& object, const char* key);
std::optional<bool> decodeOptionalBool(const Json& object, const char* key);

// Read a value that is already at hand (an array element, a top-level value).
std::string asString(const Json& value, std::string_view what);
std::int64_t asInteger(const Json& value, std::string_view what);
double asDouble(const Json& value, std::string_view what);
bool asBool(const Json& value, std::string_view what);

template <typename T>
void encodeOptional(Json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

}  // namespace json_keys
}  // namespace obx
