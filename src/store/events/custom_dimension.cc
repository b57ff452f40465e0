#include "store/events/custom_dimension.h"

namespace obx {

std::optional<std::string> CustomDimension::stringValue() const {
  if (const auto* text = std::any_cast<std::string>(&value)) return *text;
  return std::nullopt;
}

std::optional<bool> CustomDimension::boolValue() const {
  if (const auto* flag = std::any_cast<bool>(&value)) return *flag;
  return std::nullopt;
}

std::optional<double> CustomDimension::doubleValue() const {
  if (const auto* number = std::any_cast<double>(&value)) return *number;
  return std::nullopt;
}

bool CustomDimension::operator==(const CustomDimension& other) const {
  if (name != other.name) return false;
  if (auto text = stringValue()) return text == other.stringValue();
  if (auto flag = boolValue()) return flag == other.boolValue();
  if (auto number = doubleValue()) return number == other.doubleValue();
  return false;
}

void to_json(Json& json, const CustomDimension& value) {
  json = Json::object();
  json["name"] = value.name;
  if (auto text = value.stringValue()) {
    json["value"] = *text;
  } else if (auto flag = value.boolValue()) {
    json["value"] = *flag;
  } else if (auto number = value.doubleValue()) {
    json["value"] = *number;
  }
}

void from_json(const Json& json, CustomDimension& value) {
  value.name = json_keys::decodeString(json, "name");
  const Json& raw = json_keys::require(json, "value");
  if (raw.is_string()) {
    value.value = raw.get<std::string>();
  } else if (raw.is_boolean()) {
    value.value = raw.get<bool>();
  } else if (raw.is_number()) {
    value.value = raw.get<double>();
  } else {
    throw DecodingError{"Type mismatch for \"value\": expected String, Bool or Double"};
  }
}

}  // namespace obx
