// SystemInfo: what the operating system tells about the machine and the process's environment.
// Any thread may call it.
#pragma once

#include <optional>
#include <string>

namespace obx::platform {

// The `machine` field of the system's information record (uname), up to its first zero byte:
// "x86_64", "aarch64", or a device identifier on a device. Empty if the call fails.
std::string machineIdentifier();
// The value of an environment variable of the process, or absent when it is not set.
std::optional<std::string> environmentValue(const std::string& name);

}  // namespace obx::platform
