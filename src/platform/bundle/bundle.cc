#include "platform/bundle/bundle.h"

namespace obx::platform {

Bundle& Bundle::main() {
  static auto* bundle = new Bundle();
  return *bundle;
}

Bundle& Bundle::sdk() {
  static auto* bundle = new Bundle();
  return *bundle;
}

std::optional<std::string> Bundle::objectForInfoDictionaryKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = info_.find(key);
  if (found == info_.end()) return std::nullopt;
  return found->second;
}

void Bundle::setObject(const std::string& key, std::optional<std::string> value) {
  std::lock_guard lock(mutex_);
  if (value) {
    info_[key] = std::move(*value);
  } else {
    info_.erase(key);
  }
}

}  // namespace obx::platform
