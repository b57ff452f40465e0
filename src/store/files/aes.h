// AES: a key and an initialisation vector for AES-CBC with PKCS#7 padding, one block enciphered
// by itself from the same vector each time. Built from two texts, taken as their UTF-8 bytes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace obx {

class AES {
 public:
  // Refuses (nothing) unless `keyText` has 16 or 32 characters and `ivText` exactly 16.
  static std::optional<AES> make(std::string_view keyText, std::string_view ivText);

  const std::string& key() const { return key_; }
  const std::string& ivKey() const { return ivKey_; }

  // The ciphertext, or nothing when the cipher fails. Output capacity is the input length plus 16.
  std::optional<std::string> encrypt(std::string_view plain) const;
  // The plain bytes cut to the reported length, or nothing when decryption fails.
  std::optional<std::string> decrypt(std::string_view cipher) const;

 private:
  AES(std::string key, std::string ivKey) : key_(std::move(key)), ivKey_(std::move(ivKey)) {}
  std::string key_;
  std::string ivKey_;
};

// The number of characters (Unicode scalar values) of UTF-8 text.
std::size_t characterCount(std::string_view text);

}  // namespace obx
