// ProcessInfo: what the process and the machine tell about load: CPU used by the process's
// threads, the memory footprint, the processor count, physical memory and the battery. The real
// one reads /proc, sysconf and /sys/class/power_supply; tests substitute their own figures by
// overriding the virtual operations. Safe to call from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace obx::platform {

class ProcessInfo {
 public:
  static constexpr double kUnknownBatteryLevel = -1.0;

  ProcessInfo() = default;
  virtual ~ProcessInfo() = default;
  ProcessInfo(const ProcessInfo&) = delete;
  ProcessInfo& operator=(const ProcessInfo&) = delete;

  // The process-wide instance.
  static std::shared_ptr<ProcessInfo> processInfo();

  // The sum over the process's threads of each thread's share of one core: since the previous call
  // for a thread seen then, since the thread started for a new one. 1.0 is one core fully busy.
  // Absent when the thread list cannot be read.
  virtual std::optional<double> cpuUsage();
  // Resident plus swapped memory of the process, in MiB; absent when it cannot be read.
  virtual std::optional<double> memoryFootprintMiB();
  virtual int processorCount() const;
  // Bytes of physical memory of the machine.
  virtual std::uint64_t physicalMemory() const;
  // The first battery's charge, 0.0 to 1.0; -1.0 when the machine has no battery or it can't be read.
  virtual double batteryLevel() const { return readBatteryLevel(); }

  // Reads the battery under `root` (a power-supply class folder).
  static double readBatteryLevel(const std::string& root = "/sys/class/power_supply");
  // The CPU seconds (user plus system) and start time (seconds since boot) of one thread, from the
  // text of its /proc stat file; absent when the text is not one.
  struct ThreadTimes {
    double cpuSeconds = 0;
    double startSeconds = 0;
  };
  static std::optional<ThreadTimes> parseThreadStat(const std::string& text, long ticksPerSecond);

 private:
  struct Sample {
    double cpuSeconds = 0;
    double at = 0;  // seconds since boot
  };
  std::mutex mutex_;
  std::map<long, Sample> previous_;
};

}  // namespace obx::platform
