#include "platform/ui/device.h"

#include <sys/utsname.h>

#include "platform/process/process_info.h"

namespace obx::platform {

Device::Device() {
  struct utsname info {};
  if (uname(&info) == 0) {
    systemVersion_ = info.release;
    name_ = info.nodename;
  }
  batterySource_ = [] { return ProcessInfo::readBatteryLevel(); };
}

UserInterfaceIdiom Device::userInterfaceIdiom() const {
  std::lock_guard lock(mutex_);
  return idiom_;
}
void Device::setUserInterfaceIdiom(UserInterfaceIdiom idiom) {
  std::lock_guard lock(mutex_);
  idiom_ = idiom;
}
std::string Device::systemName() const { return "Linux"; }
std::string Device::systemVersion() const {
  std::lock_guard lock(mutex_);
  return systemVersion_;
}
void Device::setSystemVersion(std::string version) {
  std::lock_guard lock(mutex_);
  systemVersion_ = std::move(version);
}
std::string Device::model() const {
  std::lock_guard lock(mutex_);
  return idiom_ == UserInterfaceIdiom::pad ? "Tablet" : "Phone";
}
std::string Device::name() const {
  std::lock_guard lock(mutex_);
  return name_;
}
void Device::setName(std::string name) {
  std::lock_guard lock(mutex_);
  name_ = std::move(name);
}
DeviceOrientation Device::orientation() const {
  std::lock_guard lock(mutex_);
  return orientation_;
}
void Device::setOrientation(DeviceOrientation orientation) {
  std::lock_guard lock(mutex_);
  orientation_ = orientation;
}
bool Device::isBatteryMonitoringEnabled() const {
  std::lock_guard lock(mutex_);
  return batteryMonitoringEnabled_;
}
void Device::setBatteryMonitoringEnabled(bool enabled) {
  std::lock_guard lock(mutex_);
  batteryMonitoringEnabled_ = enabled;
}
double Device::batteryLevel() const {
  std::function<double()> source;
  {
    std::lock_guard lock(mutex_);
    if (!batteryMonitoringEnabled_) return kUnknownBatteryLevel;
    source = batterySource_;
  }
  return source ? source() : kUnknownBatteryLevel;
}
void Device::setBatteryLevelSource(std::function<double()> source) {
  std::lock_guard lock(mutex_);
  batterySource_ = std::move(source);
}

}  // namespace obx::platform
