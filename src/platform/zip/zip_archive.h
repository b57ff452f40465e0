// Plain ZIP archives of a folder, and reading them back. Writing puts the folder itself at the
// archive's root: zipping ".../abc_zip" gives the entries "abc_zip/", "abc_zip/raw/",
// "abc_zip/raw/data", ... in name order, directories with a trailing "/". Files are deflated.
// The functions are reentrant; they touch only the paths they are given.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/net/http_headers.h"

namespace obx::platform {

struct ZipEntry {
  // The path inside the archive, "/"-separated; directories end with "/".
  std::string name;
  Data bytes;

  bool isDirectory() const { return !name.empty() && name.back() == '/'; }
};

struct ZipError {
  std::string description;
};

// Writes a ZIP of `folder` to `archive`, replacing any file there; a failure leaves no archive.
// Absent on success.
std::optional<ZipError> zipFolder(const std::filesystem::path& folder, const std::filesystem::path& archive);

// The entries of a ZIP held in memory or in a file, in archive order. Absent when it is no readable
// ZIP; `error`, when given, then tells why.
std::optional<std::vector<ZipEntry>> readZip(const Data& archive, std::string* error = nullptr);
std::optional<std::vector<ZipEntry>> readZipFile(const std::filesystem::path& archive, std::string* error = nullptr);

}  // namespace obx::platform
