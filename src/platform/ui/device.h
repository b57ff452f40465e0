// Device: the device the application runs on: its idiom, system, orientation and battery. One per
// application (`Application::shared()->device()`). Battery monitoring starts off, and while it is
// off `batteryLevel` answers -1.0, the platform's "unknown". Any thread may read; the host or a
// test sets values on the main queue.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "platform/ui/orientation.h"

namespace obx::platform {

enum class UserInterfaceIdiom : int { unspecified = -1, phone = 0, pad = 1, tv = 2, carPlay = 3, mac = 5 };

class Device {
 public:
  static constexpr double kUnknownBatteryLevel = -1.0;

  Device();

  UserInterfaceIdiom userInterfaceIdiom() const;
  void setUserInterfaceIdiom(UserInterfaceIdiom idiom);
  std::string systemName() const;
  std::string systemVersion() const;
  void setSystemVersion(std::string version);
  std::string model() const;
  std::string name() const;
  void setName(std::string name);

  DeviceOrientation orientation() const;
  // Stores the orientation. The application posts the change notification (Application::rotate).
  void setOrientation(DeviceOrientation orientation);

  bool isBatteryMonitoringEnabled() const;
  void setBatteryMonitoringEnabled(bool enabled);
  // 0.0 to 1.0 while monitoring is on and the level is known, otherwise -1.0.
  double batteryLevel() const;
  // Replaces the source of the level (the machine's power supply by default); for hosts and tests.
  void setBatteryLevelSource(std::function<double()> source);

 private:
  mutable std::mutex mutex_;
  UserInterfaceIdiom idiom_ = UserInterfaceIdiom::phone;
  std::string systemVersion_;
  std::string name_;
  DeviceOrientation orientation_ = DeviceOrientation::portrait;
  bool batteryMonitoringEnabled_ = false;
  std::function<double()> batterySource_;
};

}  // namespace obx::platform
