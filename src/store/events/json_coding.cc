#include "store/events/json_coding.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "base/json_nesting.h"

namespace obx {
namespace {

bool allFinite(const Json& value) {
  switch (value.type()) {
    case Json::value_t::number_float:
      return std::isfinite(value.get<double>());
    case Json::value_t::array:
    case Json::value_t::object:
      for (const auto& item : value) {
        if (!allFinite(item)) return false;
      }
      return true;
    default:
      return true;
  }
}

std::string typeMismatch(std::string_view what, std::string_view expected, const Json& value) {
  return "Type mismatch for \"" + std::string(what) + "\": expected " + std::string(expected) + ", found " +
         value.type_name();
}

}  // namespace

std::string encodeJSON(const Json& value) {
  if (!allFinite(value)) throw EncodingError{"Invalid value: a number is not finite"};
  try {
    return value.dump(-1, ' ', false, Json::error_handler_t::strict);
  } catch (const nlohmann::json::exception& error) {
    throw EncodingError{error.what()};
  }
}

Json parseJSON(std::string_view bytes) {
  if (!jsonNestingWithin(bytes)) {
    throw DecodingError{"JSON nested deeper than " + std::to_string(kMaxJSONNesting) + " levels"};
  }
  try {
    return Json::parse(bytes.begin(), bytes.end());
  } catch (const nlohmann::json::exception& error) {
    throw DecodingError{error.what()};
  }
}

double jsonNumberFromFloat(float value) {
  if (!std::isfinite(value)) return static_cast<double>(value);
  char buffer[32];
  auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  if (error != std::errc()) return static_cast<double>(value);
  *end = '\0';
  return std::strtod(buffer, nullptr);
}

namespace json_keys {

const Json& requireObject(const Json& object, std::string_view what) {
  if (!object.is_object()) throw DecodingError{typeMismatch(what, "object", object)};
  return object;
}

const Json& require(const Json& object, const char* key) {
  if (!object.is_object()) throw DecodingError{typeMismatch(key, "object", object)};
  auto found = object.find(key);
  if (found == object.end()) throw DecodingError{std::string("No value associated with key \"") + key + "\""};
  return *found;
}

std::string asString(const Json& value, std::string_view what) {
  if (!value.is_string()) throw DecodingError{typeMismatch(what, "string", value)};
  return value.get<std::string>();
}

std::int64_t asInteger(const Json& value, std::string_view what) {
  if (value.is_number_integer() && !value.is_number_unsigned()) return value.get<std::int64_t>();
  if (value.is_number_unsigned()) {
    auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(INT64_MAX)) throw DecodingError{typeMismatch(what, "Int64", value)};
    return static_cast<std::int64_t>(number);
  }
  if (value.is_number_float()) {
    // A float with an integral value in range reads as that integer, as the platform's decoder does.
    double number = value.get<double>();
    if (std::isfinite(number) && std::trunc(number) == number && number >= -9223372036854775808.0 &&
        number < 9223372036854775808.0) {
      return static_cast<std::int64_t>(number);
    }
  }
  throw DecodingError{typeMismatch(what, "integer", value)};
}

double asDouble(const Json& value, std::string_view what) {
  if (!value.is_number()) throw DecodingError{typeMismatch(what, "number", value)};
  return value.get<double>();
}

bool asBool(const Json& value, std::string_view what) {
  if (!value.is_boolean()) throw DecodingError{typeMismatch(what, "boolean", value)};
  return value.get<bool>();
}

std::string decodeString(const Json& object, const char* key) { return asString(require(object, key), key); }
std::int64_t decodeInteger(const Json& object, const char* key) { return asInteger(require(object, key), key); }
double decodeDouble(const Json& object, const char* key) { return asDouble(require(object, key), key); }
float decodeFloat(const Json& object, const char* key) {
  return static_cast<float>(asDouble(require(object, key), key));
}
bool decodeBool(const Json& object, const char* key) { return asBool(require(object, key), key); }

namespace {
const Json* present(const Json& object, const char* key) {
  requireObject(object, key);
  auto found = object.find(key);
  if (found == object.end() || found->is_null()) return nullptr;
  return &*found;
}
}  // namespace

std::optional<std::string> decodeOptionalString(const Json& object, const char* key) {
  if (const Json* value = present(object, key)) return asString(*value, key);
  return std::nullopt;
}
std::optional<std::int64_t> decodeOptionalInteger(const Json& object, const char* key) {
  if (const Json* value = present(object, key)) return asInteger(*value, key);
  return std::nullopt;
}
std::optional<bool> decodeOptionalBool(const Json& object, const char* key) {
  if (const Json* value = present(object, key)) return asBool(*value, key);
  return std::nullopt;
}

}  // namespace json_keys
}  // namespace obx
