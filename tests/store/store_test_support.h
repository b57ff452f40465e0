// Helpers of the store's tests: a fresh sandbox root per test, file bytes, hex.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/files/sandbox.h"

namespace obx::testing {

// Points the sandbox at a new temporary folder for the life of the object, and removes it after.
class TemporarySandbox {
 public:
  TemporarySandbox() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obx-store-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
    previous_ = platform::sandboxRoot();
    platform::setSandboxRoot(path_);
  }
  ~TemporarySandbox() {
    platform::setSandboxRoot(previous_);
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path storeRoot() const { return platform::applicationSupportDirectory() / "obx.ombrix"; }

 private:
  std::filesystem::path path_;
  std::filesystem::path previous_;
};

inline std::string readBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string fromHex(const std::string& hex) {
  std::string out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    out.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return out;
}

}  // namespace obx::testing
