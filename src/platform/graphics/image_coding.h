// JPEG and PNG coding of bitmaps (the platform's UIImageJPEGRepresentation and PNG decoding), through
// libjpeg-turbo and Cairo. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/graphics/bitmap.h"

namespace obx::platform {

// Baseline JPEG of the bitmap, quality in 0...1 (clamped);
// absent when the bitmap is empty or the coder fails.
std::optional<std::vector<std::uint8_t>> jpegRepresentation(const Bitmap& bitmap, double quality);
// Null when the bytes are no JPEG. The result is opaque, at scale 1.
std::shared_ptr<const Bitmap> decodeJPEG(std::string_view bytes);
// Null when the bytes are no PNG. The result is at scale 1.
std::shared_ptr<const Bitmap> decodePNG(std::string_view bytes);
// Absent when the bitmap is empty.
std::optional<std::vector<std::uint8_t>> pngRepresentation(const Bitmap& bitmap);

}  // namespace obx::platform
