#include "platform/eventbus/tandem_event.h"

#include <cstdint>

namespace obx::platform {

std::string TandemEvent::description() const {
  std::string shown;
  if (!payload_.has_value()) {
    shown = "nil";
  } else if (const auto* text = stringPayload()) {
    shown = "'" + *text + "'";
  } else if (const auto* number = std::any_cast<int>(&payload_)) {
    shown = std::to_string(*number);
  } else if (const auto* number = std::any_cast<std::int64_t>(&payload_)) {
    shown = std::to_string(*number);
  } else if (const auto* number = std::any_cast<double>(&payload_)) {
    shown = std::to_string(*number);
  } else if (const auto* flag = std::any_cast<bool>(&payload_)) {
    shown = *flag ? "true" : "false";
  } else {
    shown = "<object>";
  }
  return std::string("<") + className() + ": payload = " + shown + ">";
}

}  // namespace obx::platform
