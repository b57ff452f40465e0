#include "base/identifiers.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <random>

namespace obx {
namespace {

// One generator for the process, seeded once from the system's entropy source.
std::mt19937_64& generator(std::unique_lock<std::mutex>& lock) {
  static std::mutex mutex;
  static std::mt19937_64 engine{[] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }()};
  lock = std::unique_lock(mutex);
  return engine;
}

}  // namespace

std::string makeUUIDString() {
  std::array<std::uint8_t, 16> bytes{};
  {
    std::unique_lock<std::mutex> lock;
    auto& engine = generator(lock);
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
      std::uint64_t word = engine();
      for (std::size_t j = 0; j < 8; ++j) bytes[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
    }
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8], bytes[9], bytes[10],
                bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
  return std::string(text, 36);
}

std::string makeUUIDWithTwoDigits() {
  int digits = 0;
  {
    std::unique_lock<std::mutex> lock;
    auto& engine = generator(lock);
    digits = std::uniform_int_distribution<int>(10, 99)(engine);
  }
  return makeUUIDString() + std::to_string(digits);
}

}  // namespace obx
