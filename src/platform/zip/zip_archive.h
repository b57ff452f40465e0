// Plain ZIP archives of a folder, and reading them back. Writing puts the folder itself at the
// archive's root: zipping ".../abc_zip" gives the entries "abc_zip/", "abc_zip/raw/",
// "abc_zip/raw/data", ... in name order, directories with a trailing "/". Files are deflated, but for
// those whose bytes look random (ciphertext, densely coded media): they are stored as they are,
// which any ZIP reader takes.
// The functions are reentrant; they touch only the paths they are given.
#pragma once

#include <cstdint>
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

// One file of an archive made in memory: its path inside the archive, "/"-separated, and its bytes.
struct ZipSource {
  std::string name;
  std::string bytes;
};

// A ZIP of `files` made in memory, with the entries that zipFolder gives for a folder of them: an
// entry for each folder on their paths ("abc_zip/", "abc_zip/raw/") before the first file in it,
// then the files in the order given (a later file of the same name replaces the earlier one),
// stored or deflated by the same rule. The files are released once the archive is complete, before
// it is copied out, so that both are not held with the copy. Absent on failure; `error`, when
// given, then tells why.
std::optional<Data> zipFiles(std::vector<ZipSource> files, std::string* error = nullptr);

// Bounds on what reading an archive may allocate, checked against the sizes the archive declares
// before anything is unpacked. An archive that declares less than it holds is read only up to what it
// declares, so the bounds hold for the actual sizes too.
struct ZipLimits {
  std::uint64_t maxEntrySize = UINT64_MAX;
  std::uint64_t maxTotalSize = UINT64_MAX;
  std::uint64_t maxEntries = UINT64_MAX;
};

// The entries of a ZIP held in memory or in a file, in archive order. Absent when it is no readable
// ZIP or exceeds `limits`; `error`, when given, then tells why.
std::optional<std::vector<ZipEntry>> readZip(const Data& archive, std::string* error = nullptr,
                                             const ZipLimits& limits = {});
std::optional<std::vector<ZipEntry>> readZipFile(const std::filesystem::path& archive, std::string* error = nullptr,
                                                 const ZipLimits& limits = {});

}  // namespace obx::platform
