#include "platform/bundle/bundle_info.h"

namespace obx::platform {

BundleInfo& BundleInfo::main() {
  static auto* bundle = new BundleInfo();
  return *bundle;
}

BundleInfo& BundleInfo::sdk() {
  static auto* bundle = new BundleInfo();
  return *bundle;
}

std::optional<std::string> BundleInfo::objectForInfoDictionaryKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = info_.find(key);
  if (found == info_.end()) return std::nullopt;
  return found->second;
}

void BundleInfo::setObject(const std::string& key, std::optional<std::string> value) {
  std::lock_guard lock(mutex_);
  if (value) {
    info_[key] = std::move(*value);
  } else {
    info_.erase(key);
  }
}

}  // namespace obx::platform
