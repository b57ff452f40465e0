#include "platform/system/system_info.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <cstring>

namespace obx::platform {

std::string machineIdentifier() {
  struct utsname info;
  std::memset(&info, 0, sizeof info);
  if (uname(&info) != 0) return {};
  return std::string(info.machine, strnlen(info.machine, sizeof info.machine));
}

std::optional<std::string> environmentValue(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

}  // namespace obx::platform
