// CustomDimension: a named value set by the application, the value being a String, a Bool or a
// Double. The value is held type-erased; encoding tests it as String, then Bool, then Double, and
// a value of any other type is left out of the JSON ("name" alone), without an error.
#pragma once

#include <any>
#include <optional>
#include <string>

#include "store/events/json_coding.h"

namespace obx {

struct CustomDimension {
  std::string name;
  std::any value;

  CustomDimension() = default;
  CustomDimension(std::string name, std::any value) : name(std::move(name)), value(std::move(value)) {}

  std::optional<std::string> stringValue() const;
  std::optional<bool> boolValue() const;
  std::optional<double> doubleValue() const;

  // Equal names and equal values of one of the three types; values of other types never compare equal.
  bool operator==(const CustomDimension& other) const;
};

void to_json(Json& json, const CustomDimension& value);
// "name" and "value" must both be there; "value" reads as a String, a Bool or a Double by its JSON type.
void from_json(const Json& json, CustomDimension& value);

}  // namespace obx
