// DevicePerformance: measures the process every `performanceFrequency` seconds (5.0 by default) and
// publishes a DeviceMeasure, with the stress kinds present. Consumers stop taking images while the
// device is stressed, and report the values. Measuring runs on "obx.ombrix.performance.queue"; the
// work item is locked because stop() comes from the configuration queue. A stopped monitor never
// runs again.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/notifier.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "lifecycle/memory_footprint_providing.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/process/process_info.h"
#include "platform/ui/device.h"

namespace obx {

class DevicePerformance : public DevicePerformanceObserving,
                          public MemoryFootprintProviding,
                          public std::enable_shared_from_this<DevicePerformance> {
 public:
  static constexpr double kBytesToMiB = 9.5367431640625e-7;  // 1 / 1048576

  // Makes the work item and schedules the first measurement at once. `notifier` starts absent.
  static std::shared_ptr<DevicePerformance> make(std::shared_ptr<platform::Scheduler> scheduler,
                                                 std::shared_ptr<platform::ProcessInfo> processInfo,
                                                 std::shared_ptr<platform::Device> device,
                                                 std::shared_ptr<SDKConfiguration> configuration,
                                                 std::shared_ptr<Notifier<std::optional<DeviceMeasure>>> notifier);
  DevicePerformance(std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<platform::ProcessInfo> processInfo,
                    std::shared_ptr<platform::Device> device, std::shared_ptr<SDKConfiguration> configuration,
                    std::shared_ptr<Notifier<std::optional<DeviceMeasure>>> notifier);
  ~DevicePerformance() override;

  void add(std::shared_ptr<DeviceMeasureObserverValue> observer) override { notifier_->observe(std::move(observer)); }
  void remove(const std::shared_ptr<DeviceMeasureObserverValue>& observer) override { notifier_->remove(observer); }
  std::optional<DeviceMeasure> devicePerformance() const override { return devicePerformance_.get(); }

  // The footprint of the last measure while it is kept (appMemoryUsageCache), else the physical
  // footprint now, in MiB; 0.0 when it cannot be read. Any thread.
  double memoryFootprintMiB() const override;

  // Cancels the work item for good.
  void stop();
  // Schedules the stored work item on the queue after `delay` seconds.
  void schedule(double delay);

 private:
  void measure();
  std::vector<DeviceStressedType> evaluateStress();
  double cpuUsage();
  double memoryUsage();

  std::shared_ptr<platform::ProcessInfo> processInfo_;
  std::shared_ptr<platform::Device> device_;
  std::shared_ptr<SDKConfiguration> configuration_;
  ReadWriteLock<std::shared_ptr<platform::DispatchWorkItem>> performanceWork_;
  // Held by stop() and by the publication of a measure, so that a measurement running when stop()
  // comes publishes nothing afterwards.
  std::mutex stopMutex_;
  std::shared_ptr<Notifier<std::optional<DeviceMeasure>>> notifier_;
  ReadWriteLock<std::optional<DeviceMeasure>> devicePerformance_;
  std::shared_ptr<platform::DispatchQueue> queue_;
  // Touched only on the queue.
  std::optional<double> appCPUUsageCache_;
  std::optional<double> appBatteryUsageCache_;
  // Written on the queue, read by the store's image reading on "obx.ombrix.read-write".
  ReadWriteLock<std::optional<double>> appMemoryUsageCache_;
};

}  // namespace obx
