#include "lifecycle/device_performance.h"

#include <algorithm>
#include <cstdio>

#include "base/logger.h"

namespace obx {
namespace {

std::string format(const char* pattern, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, pattern, value);
  return buffer;
}

}  // namespace

std::shared_ptr<DevicePerformance> DevicePerformance::make(
    std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<platform::ProcessInfo> processInfo,
    std::shared_ptr<platform::Device> device, std::shared_ptr<SDKConfiguration> configuration,
    std::shared_ptr<Notifier<std::optional<DeviceMeasure>>> notifier) {
  auto performance = std::make_shared<DevicePerformance>(std::move(scheduler), std::move(processInfo),
                                                         std::move(device), std::move(configuration),
                                                         std::move(notifier));
  std::weak_ptr<DevicePerformance> weak = performance;
  performance->performanceWork_.set(platform::DispatchWorkItem::make([weak] {
    auto self = weak.lock();
    if (!self) return;
    self->measure();
    self->schedule(self->configuration_ ? self->configuration_->common().performanceFrequency : 5.0);
  }));
  performance->schedule(0);
  return performance;
}

DevicePerformance::DevicePerformance(std::shared_ptr<platform::Scheduler> scheduler,
                                     std::shared_ptr<platform::ProcessInfo> processInfo,
                                     std::shared_ptr<platform::Device> device,
                                     std::shared_ptr<SDKConfiguration> configuration,
                                     std::shared_ptr<Notifier<std::optional<DeviceMeasure>>> notifier)
    : processInfo_(std::move(processInfo)),
      device_(std::move(device)),
      configuration_(std::move(configuration)),
      notifier_(std::move(notifier)),
      queue_(platform::DispatchQueue::makeSerial(std::move(scheduler), "obx.ombrix.performance.queue")) {}

DevicePerformance::~DevicePerformance() { stop(); }

void DevicePerformance::stop() {
  std::lock_guard lock(stopMutex_);
  if (auto work = performanceWork_.get()) work->cancel();
}

void DevicePerformance::schedule(double delay) {
  auto work = performanceWork_.get();
  if (!work) {
    Logger::log("Not worker to device performance", LogLevel::developer);
    return;
  }
  queue_->asyncAfter(delay, work);
}

double DevicePerformance::memoryFootprintMiB() const {
  if (auto cached = appMemoryUsageCache_.get()) return *cached;
  if (!processInfo_) return 0.0;
  return processInfo_->memoryFootprintMiB().value_or(0.0);
}

double DevicePerformance::cpuUsage() {
  if (appCPUUsageCache_) return *appCPUUsageCache_;
  double usage = -1.0;
  if (processInfo_) usage = processInfo_->cpuUsage().value_or(-1.0);
  appCPUUsageCache_ = usage;
  return usage;
}

double DevicePerformance::memoryUsage() {
  if (auto cached = appMemoryUsageCache_.get()) return *cached;
  double usage = processInfo_ ? processInfo_->memoryFootprintMiB().value_or(0.0) : 0.0;
  appMemoryUsageCache_.set(usage);
  return usage;
}

std::vector<DeviceStressedType> DevicePerformance::evaluateStress() {
  std::vector<DeviceStressedType> stressed;
  const double maxPerCore = configuration_ ? configuration_->common().kMaxCPUUsagePerCore : 0.7;
  const int processors = processInfo_ ? processInfo_->processorCount() : 1;
  const double physicalMiB = processInfo_ ? static_cast<double>(processInfo_->physicalMemory()) * kBytesToMiB : 0.0;
  const double cpu = cpuUsage();
  const double memory = memoryUsage();
  if (maxPerCore * processors < cpu) stressed.push_back(DeviceStressedType::cpu);
  if (physicalMiB * 0.5 < memory) stressed.push_back(DeviceStressedType::memory);
  if (!stressed.empty()) {
    std::string text;
    for (DeviceStressedType kind : stressed) {
      switch (kind) {
        case DeviceStressedType::memory: text += format("\n\t - Memory: %.2f MB", memory); break;
        case DeviceStressedType::cpu: text += format("\n\t - CPU: %.2f", cpu * 100) + "%"; break;
        case DeviceStressedType::battery:
          text += format("\n\t - Battery: %.0f", appBatteryUsageCache_.value_or(0)) + "%";
          break;
      }
    }
    Logger::log("The device is stressed with the following values: " + text, LogLevel::qa);
  }
  return stressed;
}

void DevicePerformance::measure() {
  appCPUUsageCache_.reset();
  appMemoryUsageCache_.set(std::nullopt);
  appBatteryUsageCache_.reset();

  DeviceMeasure measure;
  measure.isStressed = evaluateStress();
  measure.appCPUUsage = cpuUsage();
  measure.appMemoryUsage = memoryUsage();
  double battery = platform::Device::kUnknownBatteryLevel;
  if (device_) {
    device_->setBatteryMonitoringEnabled(true);
    battery = device_->batteryLevel();
    device_->setBatteryMonitoringEnabled(false);
  }
  battery = std::max(battery, 0.0);
  appBatteryUsageCache_ = battery;
  measure.appBatteryUsage = battery;
  measure.numberOfThreads = processInfo_ ? processInfo_->processorCount() : 0;
  measure.maxMemory = processInfo_ ? static_cast<double>(processInfo_->physicalMemory()) * kBytesToMiB : 0.0;
  std::lock_guard lock(stopMutex_);
  auto work = performanceWork_.get();
  if (work && work->isCancelled()) return;
  devicePerformance_.set(measure);
  notifier_->notify(std::move(measure));
}

}  // namespace obx
