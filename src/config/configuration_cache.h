// ConfigurationCache: where SDKConfiguration keeps the last live document between runs, under the
// key "config". The store's CacheController is the implementation; a configuration without one
// starts from the defaults every time. Any thread; nothing throws.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace obx {

class ConfigurationCache {
 public:
  virtual ~ConfigurationCache() = default;
  // The bytes saved under `key`, or nothing.
  virtual std::optional<std::string> read(const std::string& key) = 0;
  virtual void save(const std::string& key, const std::vector<std::uint8_t>& bytes) = 0;
};

}  // namespace obx
