// SteadyProcessInfo: a machine whose load never changes, for tests that run the whole SDK on virtual
// time. The process's real CPU share is measured against the wall clock, so a busy test thread (or a
// thread a library starts) could read as a stressed device and change what the SDK records.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/process/process_info.h"

namespace obx::testing {

class SteadyProcessInfo : public platform::ProcessInfo {
 public:
  std::optional<double> cpuUsage() override { return 0.1; }
  std::optional<double> memoryFootprintMiB() override { return 50.0; }
  int processorCount() const override { return 2; }
  std::uint64_t physicalMemory() const override { return 8192ull * 1048576ull; }
  double batteryLevel() const override { return kUnknownBatteryLevel; }
};

}  // namespace obx::testing
