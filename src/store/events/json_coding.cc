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

// The length of the UTF-8 sequence that starts at `at`, or 0 when it is not one: overlong forms,
// surrogates, code points above U+10FFFF and cut sequences are refused, as the library's strict
// serializer refuses them.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  if (byte(at + 1) < low || byte(at + 1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (byte(at + i) < 0x80 || byte(at + i) > 0xBF) return 0;
  }
  return length;
}

// A string as the library's serializer writes it without ASCII escaping: quotes, backslashes and
// control characters escaped, everything else as it stands. False for text that is not UTF-8.
bool writeString(std::string_view text, std::string& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  std::size_t i = 0;
  while (i < text.size()) {
    // Plain printable ASCII, the bulk of every event, is copied a run at a time.
    std::size_t plain = i;
    while (plain < text.size()) {
      const auto b = static_cast<unsigned char>(text[plain]);
      if (b < 0x20 || b >= 0x80 || b == '"' || b == '\\') break;
      ++plain;
    }
    out.append(text.data() + i, plain - i);
    i = plain;
    if (i == text.size()) break;
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) {
      const std::size_t length = utf8SequenceLength(text, i);
      if (length == 0) return false;
      out.append(text.data() + i, length);
      i += length;
      continue;
    }
    switch (c) {
      case '"': out.append("\\\""); break;
      case '\\': out.append("\\\\"); break;
      case 0x08: out.append("\\b"); break;
      case 0x09: out.append("\\t"); break;
      case 0x0A: out.append("\\n"); break;
      case 0x0C: out.append("\\f"); break;
      case 0x0D: out.append("\\r"); break;
      default:
        if (c < 0x20) {
          const char escaped[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0x0F]};
          out.append(escaped, sizeof escaped);
        } else {
          out.push_back(static_cast<char>(c));
        }
    }
    ++i;
  }
  out.push_back('"');
  return true;
}

// The compact form that `dump` gives, written straight into `out` without the library's
// per-character output adapter. False, with `out` in any state, for a number that is not finite
// or a string that is not UTF-8: the caller then lets the library report the error.
bool writeCompact(const Json& value, std::string& out) {
  char number[64];
  switch (value.type()) {
    case Json::value_t::null:
    case Json::value_t::discarded:
      out.append("null");
      return true;
    case Json::value_t::boolean:
      out.append(value.get_ref<const Json::boolean_t&>() ? "true" : "false");
      return true;
    case Json::value_t::number_integer: {
      auto end = std::to_chars(number, number + sizeof number, value.get_ref<const Json::number_integer_t&>()).ptr;
      out.append(number, end);
      return true;
    }
    case Json::value_t::number_unsigned: {
      auto end = std::to_chars(number, number + sizeof number, value.get_ref<const Json::number_unsigned_t&>()).ptr;
      out.append(number, end);
      return true;
    }
    case Json::value_t::number_float: {
      const double x = value.get_ref<const Json::number_float_t&>();
      if (!std::isfinite(x)) return false;
      // The library's own shortest round-trip formatting, so the digits are those of `dump`.
      out.append(number, nlohmann::detail::to_chars(number, number + sizeof number, x));
      return true;
    }
    case Json::value_t::string:
      return writeString(value.get_ref<const Json::string_t&>(), out);
    case Json::value_t::array: {
      out.push_back('[');
      bool first = true;
      for (const auto& item : value) {
        if (!first) out.push_back(',');
        first = false;
        if (!writeCompact(item, out)) return false;
      }
      out.push_back(']');
      return true;
    }
    case Json::value_t::object: {
      out.push_back('{');
      bool first = true;
      for (const auto& [key, item] : value.get_ref<const Json::object_t&>()) {
        if (!first) out.push_back(',');
        first = false;
        if (!writeString(key, out)) return false;
        out.push_back(':');
        if (!writeCompact(item, out)) return false;
      }
      out.push_back('}');
      return true;
    }
    case Json::value_t::binary:
      return false;
  }
  return false;
}

}  // namespace

std::string encodeJSON(const Json& value) {
  std::string out;
  out.reserve(256);
  appendJSON(value, out);
  return out;
}

void appendJSON(const Json& value, std::string& out) {
  const std::size_t start = out.size();
  if (writeCompact(value, out)) return;
  out.resize(start);
  // What the fast writer refuses, the library refuses too, with the text callers have always seen.
  if (!allFinite(value)) throw EncodingError{"Invalid value: a number is not finite"};
  try {
    out += value.dump(-1, ' ', false, Json::error_handler_t::strict);
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
