#include "platform/crypto/base64.h"

#include <array>
#include <cstdint>

namespace obx::platform {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> makeReverse() {
  std::array<std::int8_t, 256> table{};
  for (auto& entry : table) entry = -1;
  for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return table;
}
constexpr auto kReverse = makeReverse();

}  // namespace

std::string base64Encode(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    std::uint32_t n = (std::uint32_t(std::uint8_t(bytes[i])) << 16) | (std::uint32_t(std::uint8_t(bytes[i + 1])) << 8) |
                      std::uint32_t(std::uint8_t(bytes[i + 2]));
    out.push_back(kAlphabet[(n >> 18) & 63]);
    out.push_back(kAlphabet[(n >> 12) & 63]);
    out.push_back(kAlphabet[(n >> 6) & 63]);
    out.push_back(kAlphabet[n & 63]);
  }
  const std::size_t rest = bytes.size() - i;
  if (rest == 1) {
    std::uint32_t n = std::uint32_t(std::uint8_t(bytes[i])) << 16;
    out.push_back(kAlphabet[(n >> 18) & 63]);
    out.push_back(kAlphabet[(n >> 12) & 63]);
    out += "==";
  } else if (rest == 2) {
    std::uint32_t n = (std::uint32_t(std::uint8_t(bytes[i])) << 16) | (std::uint32_t(std::uint8_t(bytes[i + 1])) << 8);
    out.push_back(kAlphabet[(n >> 18) & 63]);
    out.push_back(kAlphabet[(n >> 12) & 63]);
    out.push_back(kAlphabet[(n >> 6) & 63]);
    out.push_back('=');
  }
  return out;
}

std::optional<std::string> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string out;
  out.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    std::uint32_t n = 0;
    int padding = 0;
    for (int j = 0; j < 4; ++j) {
      const char c = text[i + j];
      if (c == '=') {
        // Padding only at the end of the last group, and at most two.
        if (!last || j < 2) return std::nullopt;
        ++padding;
        n <<= 6;
        continue;
      }
      if (padding > 0) return std::nullopt;
      const std::int8_t value = kReverse[static_cast<unsigned char>(c)];
      if (value < 0) return std::nullopt;
      n = (n << 6) | std::uint32_t(value);
    }
    out.push_back(char((n >> 16) & 0xff));
    if (padding < 2) out.push_back(char((n >> 8) & 0xff));
    if (padding < 1) out.push_back(char(n & 0xff));
  }
  return out;
}

}  // namespace obx::platform
