// Symmetric cipher and digests as the store and the capture code need them: AES in CBC mode with
// PKCS#7 padding with the semantics of the platform's one-shot CCCrypt call, MD5 and SHA-256.
// Byte strings are held in std::string. Every function is thread-safe and never throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace obx::platform {

enum class CCOperation { encrypt, decrypt };

// The status codes of CCCrypt, with their numeric values.
enum class CCCryptorStatus : std::int32_t {
  success = 0,
  paramError = -4300,
  bufferTooSmall = -4301,
  memoryFailure = -4302,
  alignmentError = -4303,
  decodeError = -4304,
};

struct CCCryptResult {
  CCCryptorStatus status = CCCryptorStatus::paramError;
  // On success, the output cut to the reported length; empty otherwise.
  std::string data;
  // The reported length (dataOutMoved): on bufferTooSmall, the capacity that would have sufficed.
  std::size_t dataOutMoved = 0;
};

// AES-CBC with PKCS#7 padding, one shot. `key` must hold 16, 24 or 32 bytes and `iv` 16 bytes,
// otherwise paramError. `dataOutAvailable` is the caller's output capacity: encryption needs the
// padded length, decryption the input length; less gives bufferTooSmall. A ciphertext whose length
// is not a multiple of 16 gives alignmentError, a bad padding decodeError.
CCCryptResult ccCrypt(CCOperation operation, std::string_view key, std::string_view iv, std::string_view dataIn,
                      std::size_t dataOutAvailable);

std::array<std::uint8_t, 16> ccMD5(std::string_view data);
std::array<std::uint8_t, 32> ccSHA256(std::string_view data);

// Lower-case hexadecimal, two digits per byte.
std::string hexString(std::string_view bytes);
template <std::size_t N>
std::string hexString(const std::array<std::uint8_t, N>& bytes) {
  return hexString(std::string_view(reinterpret_cast<const char*>(bytes.data()), N));
}

}  // namespace obx::platform
