// MemoryFootprintProviding: the process's memory footprint, as the store needs it to bound how many
// images it reads at once. DevicePerformance provides it.
#pragma once

namespace obx {

class MemoryFootprintProviding {
 public:
  virtual ~MemoryFootprintProviding() = default;
  // Physical footprint of the process in MiB.
  virtual double memoryFootprintMiB() const = 0;
};

}  // namespace obx
