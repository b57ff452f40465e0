#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <thread>

#include "platform/process/process_info.h"

namespace obx::platform {
namespace {

// A thread that spins until told to stop, and the process's CPU it consumed on the way.
TEST(ProcessInfoTest, BusyThreadGivesPositiveCPUShare) {
  ProcessInfo info;
  info.cpuUsage();  // first sample: shares since each thread started
  std::atomic<bool> stop{false};
  std::atomic<unsigned long> spins{0};
  std::thread busy([&] {
    while (!stop.load()) spins.fetch_add(1);
  });
  // Until the kernel has accounted at least one tick to the busy thread.
  std::optional<double> usage;
  for (int attempt = 0; attempt < 2000 && !(usage && *usage > 0); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    usage = info.cpuUsage();
  }
  stop = true;
  busy.join();
  ASSERT_TRUE(usage.has_value());
  EXPECT_GT(*usage, 0.0);
  EXPECT_GT(info.memoryFootprintMiB().value_or(0), 0.0);
  EXPECT_GE(info.processorCount(), 1);
  EXPECT_GT(info.physicalMemory(), 0u);
}

// Thread stat lines are read after the command name, whatever it holds; malformed lines are refused.
TEST(ProcessInfoTest, ParsesThreadStatLines) {
  const std::string fields = " S 1 1 1 0 -1 4194560 100 0 0 0 250 50 0 0 20 0 3 0 1000 1000000 500";
  auto times = ProcessInfo::parseThreadStat("1234 (my (odd) name)" + fields, 100);
  ASSERT_TRUE(times.has_value());
  EXPECT_DOUBLE_EQ(times->cpuSeconds, 3.0);  // (250 + 50) / 100
  EXPECT_DOUBLE_EQ(times->startSeconds, 10.0);
  EXPECT_FALSE(ProcessInfo::parseThreadStat("1234 no parenthesis", 100).has_value());
  EXPECT_FALSE(ProcessInfo::parseThreadStat("1234 (short) S 1 2 3", 100).has_value());
  EXPECT_FALSE(ProcessInfo::parseThreadStat("1 (x) S 1 1 1 0 -1 4 1 0 0 0 abc 50 0 0 20 0 3 0 1000", 100).has_value());
}

// The battery is the first supply of type Battery; without one the level is unknown (-1).
TEST(ProcessInfoTest, ReadsBatteryFromPowerSupplies) {
  auto root = std::filesystem::temp_directory_path() / ("obx-power-" + std::to_string(::getpid()));
  std::filesystem::remove_all(root);
  auto write = [&](const std::string& supply, const std::string& type, const std::string& capacity) {
    std::filesystem::create_directories(root / supply);
    std::ofstream(root / supply / "type") << type << "\n";
    if (!capacity.empty()) std::ofstream(root / supply / "capacity") << capacity << "\n";
  };
  EXPECT_EQ(ProcessInfo::readBatteryLevel(root.string()), -1.0);
  write("AC", "Mains", "");
  EXPECT_EQ(ProcessInfo::readBatteryLevel(root.string()), -1.0);
  write("BAT0", "Battery", "87");
  EXPECT_DOUBLE_EQ(ProcessInfo::readBatteryLevel(root.string()), 0.87);
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace obx::platform
