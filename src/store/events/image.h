// Image: the bytes of one stored image with its index and timestamp, as the repository hands them
// to the upload. Stored as one JSON block per image; the bytes travel as Base64 text in JSON.
#pragma once

#include <cstdint>
#include <string>

#include "store/events/json_coding.h"

namespace obx {

struct Image {
  std::int64_t index = 0;
  std::string data;  // the image file's bytes (JPEG)
  std::int64_t timestamp = 0;  // milliseconds since 1970
  bool operator==(const Image&) const = default;
};

void to_json(Json& json, const Image& value);
// Throws DecodingError for a missing key or "data" that is not Base64.
void from_json(const Json& json, Image& value);

}  // namespace obx
