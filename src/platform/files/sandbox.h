// The application's sandbox: where its Library/Application Support and Library/Caches folders lie.
// The root is a process-wide setting so that a host (or a test) chooses it before the SDK starts;
// it defaults to $OBX_SANDBOX_ROOT, else $XDG_DATA_HOME/obx-sandbox, else ~/.local/share/obx-sandbox.
#pragma once

#include <filesystem>

namespace obx::platform {

std::filesystem::path sandboxRoot();
void setSandboxRoot(std::filesystem::path root);

// <root>/Library/Application Support
std::filesystem::path applicationSupportDirectory();
// <root>/Library/Caches
std::filesystem::path cachesDirectory();

}  // namespace obx::platform
