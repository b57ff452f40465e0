#include "session/placeholder_reason.h"

#include <array>

namespace obx {

const std::string& placeholderReasonMessage(PlaceholderReason reason) {
  static const std::array<std::string, 7> messages = {
      "Screen not recorded due to high cpu usage",
      "Screen not recorded due to high memory usage",
      "Screen not recorded due to low battery",
      "No permissions to record this screen",
      "Video disabled on this screen",
      "No video could be recorded for this screen",
      "Video recording masked for this screen",
  };
  auto index = static_cast<std::size_t>(reason);
  return messages[index < messages.size() ? index : static_cast<std::size_t>(PlaceholderReason::noVideo)];
}

PlaceholderReason placeholderReasonFor(DeviceStressedType stress) {
  switch (stress) {
    case DeviceStressedType::cpu: return PlaceholderReason::highCPU;
    case DeviceStressedType::memory: return PlaceholderReason::highMemory;
    case DeviceStressedType::battery: return PlaceholderReason::lowBattery;
  }
  return PlaceholderReason::highCPU;
}

}  // namespace obx
