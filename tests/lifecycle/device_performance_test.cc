#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/device_performance.h"
#include "platform/dispatch/manual_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class FakeProcessInfo : public platform::ProcessInfo {
 public:
  std::optional<double> cpuUsage() override { return cpu; }
  std::optional<double> memoryFootprintMiB() override { return memory; }
  int processorCount() const override { return processors; }
  std::uint64_t physicalMemory() const override { return physical; }

  std::optional<double> cpu = 0.5;
  std::optional<double> memory = 100.0;
  int processors = 4;
  std::uint64_t physical = 4096ull * 1048576ull;  // 4096 MiB
};

class DevicePerformanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Configuration configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration_ = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler_);
    device_->setBatteryLevelSource([] { return 0.42; });
  }
  std::shared_ptr<DevicePerformance> make(std::shared_ptr<platform::ProcessInfo> info) {
    auto performance = DevicePerformance::make(
        scheduler_, std::move(info), device_, configuration_,
        std::make_shared<Notifier<std::optional<DeviceMeasure>>>(scheduler_, std::nullopt, "DeviceMeasure"));
    performance->add(DeviceMeasureObserverValue::make(
        platform::DispatchQueue::makeSerial(scheduler_, "test.performance"),
        [this](const std::optional<DeviceMeasure>& measure, const std::optional<DeviceMeasure>&) {
          measures_.push_back(measure);
        }));
    return performance;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Device> device_ = std::make_shared<platform::Device>();
  std::shared_ptr<SDKConfiguration> configuration_;
  std::vector<std::optional<DeviceMeasure>> measures_;
  testing::LogCapture logs_;
};

// Stress is strictly above 0.7 of each core, and above half the physical memory; the log lists
// the kinds in evaluation order with their values.
TEST_F(DevicePerformanceTest, StressThresholds) {
  struct Case {
    double cpu;
    double memory;
    std::vector<DeviceStressedType> expected;
  };
  const std::vector<Case> cases = {
      {2.8, 2048.0, {}},
      {2.81, 2048.0, {DeviceStressedType::cpu}},
      {0.1, 2048.5, {DeviceStressedType::memory}},
      {3.0, 3000.0, {DeviceStressedType::cpu, DeviceStressedType::memory}},
  };
  for (const auto& c : cases) {
    auto info = std::make_shared<FakeProcessInfo>();
    info->cpu = c.cpu;
    info->memory = c.memory;
    measures_.clear();
    auto performance = make(info);
    scheduler_->runUntilIdle();
    ASSERT_EQ(measures_.size(), 1u);
    EXPECT_EQ(measures_[0]->isStressed, c.expected) << c.cpu << " " << c.memory;
    performance->stop();
  }
  EXPECT_TRUE(logs_.contains("The device is stressed with the following values: \n\t - CPU: 281.00%", LogLevel::qa));
  EXPECT_TRUE(logs_.contains("The device is stressed with the following values: \n\t - Memory: 2048.50 MB"));
  EXPECT_TRUE(logs_.contains(
      "The device is stressed with the following values: \n\t - CPU: 300.00%\n\t - Memory: 3000.00 MB"));
}

// The measure carries the figures: processor count, physical memory in MiB, battery with monitoring
// switched off again, an unknown battery as 0.0; an unreadable CPU gives -1.0 and no stress; another
// measure comes every performanceFrequency seconds until stop.
TEST_F(DevicePerformanceTest, MeasureValuesPeriodAndStop) {
  auto info = std::make_shared<FakeProcessInfo>();
  info->cpu = std::nullopt;
  auto performance = make(info);
  EXPECT_EQ(performance->memoryFootprintMiB(), 100.0) << "the platform's reading before any measure";
  scheduler_->runUntilIdle();
  ASSERT_EQ(measures_.size(), 1u);
  const DeviceMeasure& measure = *measures_[0];
  EXPECT_EQ(measure.appCPUUsage, -1.0);
  EXPECT_TRUE(measure.isStressed.empty());
  EXPECT_EQ(measure.appMemoryUsage, 100.0);
  EXPECT_EQ(measure.appBatteryUsage, 0.42);
  EXPECT_EQ(measure.numberOfThreads, 4);
  EXPECT_EQ(measure.maxMemory, 4096.0);
  EXPECT_FALSE(device_->isBatteryMonitoringEnabled());
  EXPECT_EQ(performance->devicePerformance(), measure);
  // The footprint the image reading weighs against its ceiling is the last measure's.
  info->memory = 5000.0;
  EXPECT_EQ(performance->memoryFootprintMiB(), 100.0);

  scheduler_->advance(4.9);
  EXPECT_EQ(measures_.size(), 1u);
  device_->setBatteryLevelSource([] { return platform::Device::kUnknownBatteryLevel; });
  scheduler_->advance(0.1);
  ASSERT_EQ(measures_.size(), 2u);
  EXPECT_EQ(measures_[1]->appBatteryUsage, 0.0) << "an unknown level (-1) is published as 0.0";
  EXPECT_EQ(performance->memoryFootprintMiB(), 5000.0);
  performance->stop();
  scheduler_->advance(60.0);
  EXPECT_EQ(measures_.size(), 2u);
}

// A stop that comes while a measurement runs (here from inside the reading of the CPU, on the
// performance queue) leaves that measurement unpublished, and nothing follows.
TEST_F(DevicePerformanceTest, StopDuringAMeasurementPublishesNothing) {
  class StoppingProcessInfo : public FakeProcessInfo {
   public:
    std::optional<double> cpuUsage() override {
      if (auto performance = target.lock(); performance && stopNow) performance->stop();
      return FakeProcessInfo::cpuUsage();
    }
    std::weak_ptr<DevicePerformance> target;
    bool stopNow = false;
  };
  auto info = std::make_shared<StoppingProcessInfo>();
  auto performance = make(info);
  info->target = performance;
  scheduler_->runUntilIdle();
  ASSERT_EQ(measures_.size(), 1u);
  info->stopNow = true;
  scheduler_->advance(5.0);
  scheduler_->advance(60.0);
  EXPECT_EQ(measures_.size(), 1u);
}

}  // namespace
}  // namespace obx
