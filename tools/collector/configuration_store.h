// ConfigurationStore: the live-configuration documents the collector serves. The document of an
// (account, property) comes from the first of: one set in memory while running, the file
// `<directory>/<account>/<property>.json`, the file `<directory>/default.json`, and the empty
// document "{}". Files are read again on every lookup, so editing one steers a running SDK.
//
// Thread-safe.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace obx::collector {

class ConfigurationStore {
 public:
  explicit ConfigurationStore(std::optional<std::filesystem::path> directory);

  struct Document {
    std::string text;
    std::string source;  // "memory", the file's path, or "empty"
  };

  Document lookup(const std::string& account, const std::string& property) const;

  void set(const std::string& account, const std::string& property, std::string text);
  void remove(const std::string& account, const std::string& property);

 private:
  std::optional<std::filesystem::path> directory_;
  mutable std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::string> documents_;
};

}  // namespace obx::collector
