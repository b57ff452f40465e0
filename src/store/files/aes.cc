#include "store/files/aes.h"

#include "platform/crypto/crypto.h"

namespace obx {

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (unsigned char byte : text) {
    if ((byte & 0xC0) != 0x80) ++count;
  }
  return count;
}

std::optional<AES> AES::make(std::string_view keyText, std::string_view ivText) {
  const std::size_t keyLength = characterCount(keyText);
  if ((keyLength != 16 && keyLength != 32) || characterCount(ivText) != 16) return std::nullopt;
  return AES(std::string(keyText), std::string(ivText));
}

std::optional<std::string> AES::encrypt(std::string_view plain) const {
  auto result = platform::ccCrypt(platform::CCOperation::encrypt, key_, ivKey_, plain, plain.size() + 16);
  if (result.status != platform::CCCryptorStatus::success) return std::nullopt;
  return std::move(result.data);
}

std::optional<std::string> AES::decrypt(std::string_view cipher) const {
  auto result = platform::ccCrypt(platform::CCOperation::decrypt, key_, ivKey_, cipher, cipher.size() + 16);
  if (result.status != platform::CCCryptorStatus::success) return std::nullopt;
  return std::move(result.data);
}

}  // namespace obx
