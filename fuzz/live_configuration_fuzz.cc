// The live-configuration decoders on arbitrary text: the server's document and its stored form.
// Either gives a configuration or nothing; neither throws nor runs out of stack.
#include <cstddef>
#include <cstdint>
#include <string>

#include "config/session_configuration.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string error;
  (void)obx::SessionConfiguration::decode(text, &error);
  if (auto live = obx::decodeLiveConfiguration(text)) (void)obx::encodeLiveConfiguration(*live);
  return 0;
}
