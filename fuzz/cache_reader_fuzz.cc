// The cache as the SDK reads it at start-up: the entry "config" is a stored block holding the last
// live configuration. The input is the block's plain text, stored under the at-rest key so that the
// read reaches the decoder; a second pass reads the input as the raw file.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "config/session_configuration.h"
#include "fuzz_support.h"
#include "store/directory.h"
#include "store/files/file_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace obx;
  static FileReader reader(std::make_shared<Security>());
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  Directory directory;
  directory.url = fuzzing::scratchFolder() / "obx.ombrix.cache" / "config";
  for (const std::string& file : {fuzzing::atRestRecord(input), std::string(input)}) {
    fuzzing::writeFile(directory.url / "config", file);
    if (auto stored = reader.readFirst(directory, "config")) (void)decodeLiveConfiguration(*stored);
  }
  return 0;
}
