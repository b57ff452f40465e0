#include "collector/configuration_store.h"

#include <fstream>
#include <sstream>

namespace obx::collector {
namespace {

// A name that stays inside the configuration folder once joined to it.
bool isPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\\') == std::string::npos && name.find('\0') == std::string::npos;
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
  std::error_code code;
  if (!std::filesystem::is_regular_file(path, code)) return std::nullopt;
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

ConfigurationStore::ConfigurationStore(std::optional<std::filesystem::path> directory)
    : directory_(std::move(directory)) {}

ConfigurationStore::Document ConfigurationStore::lookup(const std::string& account,
                                                        const std::string& property) const {
  {
    std::lock_guard lock(mutex_);
    auto found = documents_.find({account, property});
    if (found != documents_.end()) return {found->second, "memory"};
  }
  if (directory_) {
    if (isPlainName(account) && isPlainName(property)) {
      const auto path = *directory_ / account / (property + ".json");
      if (auto text = readFile(path)) return {std::move(*text), path.string()};
    }
    const auto fallback = *directory_ / "default.json";
    if (auto text = readFile(fallback)) return {std::move(*text), fallback.string()};
  }
  return {"{}", "empty"};
}

void ConfigurationStore::set(const std::string& account, const std::string& property, std::string text) {
  std::lock_guard lock(mutex_);
  documents_[{account, property}] = std::move(text);
}

void ConfigurationStore::remove(const std::string& account, const std::string& property) {
  std::lock_guard lock(mutex_);
  documents_.erase({account, property});
}

}  // namespace obx::collector
