#include "platform/files/sandbox.h"

#include <cstdlib>
#include <mutex>

namespace obx::platform {
namespace {

std::mutex rootMutex;

std::filesystem::path& rootSlot() {
  static auto* slot = new std::filesystem::path();
  return *slot;
}

std::filesystem::path defaultRoot() {
  if (const char* explicitRoot = std::getenv("OBX_SANDBOX_ROOT"); explicitRoot && *explicitRoot) {
    return explicitRoot;
  }
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data) {
    return std::filesystem::path(data) / "obx-sandbox";
  }
  if (const char* home = std::getenv("HOME"); home && *home) {
    return std::filesystem::path(home) / ".local" / "share" / "obx-sandbox";
  }
  return std::filesystem::temp_directory_path() / "obx-sandbox";
}

}  // namespace

std::filesystem::path sandboxRoot() {
  std::lock_guard lock(rootMutex);
  auto& slot = rootSlot();
  if (slot.empty()) slot = defaultRoot();
  return slot;
}

void setSandboxRoot(std::filesystem::path root) {
  std::lock_guard lock(rootMutex);
  rootSlot() = std::move(root);
}

std::filesystem::path applicationSupportDirectory() { return sandboxRoot() / "Library" / "Application Support"; }

std::filesystem::path cachesDirectory() { return sandboxRoot() / "Library" / "Caches"; }

}  // namespace obx::platform
