// BundleInfo: the info dictionaries of the host application ("main") and of the SDK itself, which the
// host fills in at start the way a packaged application carries them. Thread-safe.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace obx::platform {

class BundleInfo {
 public:
  static BundleInfo& main();
  // The bundle that holds the SDK; "Ombrix OBX Version" is set from the build.
  static BundleInfo& sdk();

  std::optional<std::string> objectForInfoDictionaryKey(const std::string& key) const;
  void setObject(const std::string& key, std::optional<std::string> value);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> info_;
};

}  // namespace obx::platform
