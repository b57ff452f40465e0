// The block file reader on arbitrary file contents: length prefixes of any value, files cut
// anywhere, ciphertexts that don't decipher. It must give the blocks or give the file up, never
// read past a buffer or allocate past the block limit.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_support.h"
#include "store/directory.h"
#include "store/files/file_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace obx;
  static FileReader reader(std::make_shared<Security>());
  Directory directory;
  directory.url = fuzzing::scratchFolder() / "blocks";
  fuzzing::writeFile(directory.url / "batch", std::string_view(reinterpret_cast<const char*>(data), size));
  (void)reader.read(directory, "batch");
  fuzzing::writeFile(directory.url / "batch", std::string_view(reinterpret_cast<const char*>(data), size));
  (void)reader.readFirst(directory, "batch");
  return 0;
}
