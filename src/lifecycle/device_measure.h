// DeviceMeasure: one measurement of the process's load, as DevicePerformance publishes it.
#pragma once

#include <vector>

namespace obx {

enum class DeviceStressedType : int { battery = 0, memory = 1, cpu = 2 };

struct DeviceMeasure {
  std::vector<DeviceStressedType> isStressed;  // stress kinds now present, in evaluation order
  double appCPUUsage = 0;                      // fraction of one core, summed over threads; -1.0 unreadable
  double appMemoryUsage = 0;                   // MiB of physical footprint
  double appBatteryUsage = 0;                  // battery level, 0.0 to 1.0
  int numberOfThreads = 0;                     // the processor count of the device
  double maxMemory = 0;                        // MiB of physical memory
  bool operator==(const DeviceMeasure&) const = default;
};

}  // namespace obx
