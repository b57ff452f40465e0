// The block file format: zero or more records back to back, no header, no trailer. A record is a
// 4-byte little-endian unsigned length followed by that many bytes of ciphertext (AES-CBC with
// PKCS#7, so a multiple of 16 and at least 16). A block is bounded by kMaxBlockLength on writing
// and on reading.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace obx {

inline constexpr std::uint32_t kMaxBlockLength = 26214400;  // 25 MiB, 0x1900000
inline constexpr std::size_t kBlockPrefixLength = 4;

// One record as read from a file: `data` holds the length prefix and the ciphertext.
struct BlockInFile {
  std::string data;
  std::uint32_t maxBlockLength = kMaxBlockLength;

  std::string_view ciphertext() const {
    return data.size() < kBlockPrefixLength ? std::string_view() : std::string_view(data).substr(kBlockPrefixLength);
  }
};

inline std::string encodeBlockLength(std::uint32_t length) {
  std::string prefix(kBlockPrefixLength, '\0');
  for (std::size_t i = 0; i < kBlockPrefixLength; ++i) prefix[i] = static_cast<char>((length >> (8 * i)) & 0xff);
  return prefix;
}

inline std::uint32_t decodeBlockLength(std::string_view prefix) {
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < kBlockPrefixLength && i < prefix.size(); ++i) {
    length |= static_cast<std::uint32_t>(static_cast<unsigned char>(prefix[i])) << (8 * i);
  }
  return length;
}

}  // namespace obx
