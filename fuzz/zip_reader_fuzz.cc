// The ZIP reader on arbitrary bytes, with the bounds the collector reads uploads with.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/zip/zip_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const obx::platform::ZipLimits limits{64ull << 20, 256ull << 20, 10000};
  std::string error;
  (void)obx::platform::readZip(obx::platform::Data(data, data + size), &error, limits);
  return 0;
}
