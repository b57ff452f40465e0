// PlaceholderReason: why a screen shows a placeholder instead of its images. The text is what the
// placeholder image and the log lines show.
#pragma once

#include <cstdint>
#include <string>

#include "lifecycle/device_measure.h"

namespace obx {

enum class PlaceholderReason : std::uint8_t {
  highCPU = 0,
  highMemory = 1,
  lowBattery = 2,
  noPermissions = 3,
  videoDisabled = 4,
  noVideo = 5,
  videoMasked = 6,
};

// "Screen not recorded due to high cpu usage", ...: the text of a reason.
const std::string& placeholderReasonMessage(PlaceholderReason reason);

// The reason that stands for a kind of device stress: cpu gives highCPU, memory highMemory, battery
// lowBattery.
PlaceholderReason placeholderReasonFor(DeviceStressedType stress);

}  // namespace obx
