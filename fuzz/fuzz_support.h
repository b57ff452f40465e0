// Helpers of the fuzz targets: a scratch folder on a memory file system for targets whose reader
// takes a file, and the at-rest block framing for inputs that must reach past the cipher.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "store/files/aes.h"
#include "store/files/block_in_file.h"
#include "store/files/security.h"

namespace obx::fuzzing {

// A folder made once per process, under /dev/shm when there is one.
inline const std::filesystem::path& scratchFolder() {
  static const std::filesystem::path folder = [] {
    std::filesystem::path base = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    std::string pattern = (base / "obx-fuzz-XXXXXX").string();
    return std::filesystem::path(::mkdtemp(pattern.data()));
  }();
  return folder;
}

inline void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// `plain` as one stored record: its length, then its ciphertext under the at-rest key.
inline std::string atRestRecord(std::string_view plain) {
  Security security;
  auto aes = AES::make(security.key(), security.ivK());
  auto cipher = aes->encrypt(plain);
  return encodeBlockLength(static_cast<std::uint32_t>(cipher->size())) + *cipher;
}

}  // namespace obx::fuzzing
