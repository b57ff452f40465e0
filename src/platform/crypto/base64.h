// Base64 (RFC 4648, standard alphabet, with padding), as the platform's data encoding gives it
// without line breaks.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace obx::platform {

std::string base64Encode(std::string_view bytes);
// Strict: no whitespace, padding required; anything else gives no value.
std::optional<std::string> base64Decode(std::string_view text);

}  // namespace obx::platform
