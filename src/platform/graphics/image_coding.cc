#include "platform/graphics/image_coding.h"

#include <cairo.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace obx::platform {

namespace {
// Cairo's ARGB32 in native order is B, G, R, A in memory on a little-endian machine.
constexpr int kPixelFormat = TJPF_BGRA;

struct Reader {
  std::string_view bytes;
  std::size_t position = 0;
};

cairo_status_t readBytes(void* closure, unsigned char* data, unsigned int length) {
  auto* reader = static_cast<Reader*>(closure);
  if (reader->bytes.size() - reader->position < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, reader->bytes.data() + reader->position, length);
  reader->position += length;
  return CAIRO_STATUS_SUCCESS;
}

cairo_status_t writeBytes(void* closure, const unsigned char* data, unsigned int length) {
  auto* out = static_cast<std::vector<std::uint8_t>*>(closure);
  out->insert(out->end(), data, data + length);
  return CAIRO_STATUS_SUCCESS;
}

std::shared_ptr<const Bitmap> bitmapFromSurface(cairo_surface_t* source) {
  int width = cairo_image_surface_get_width(source);
  int height = cairo_image_surface_get_height(source);
  // Drawing onto a fresh ARGB32 surface converts whatever format the PNG had.
  cairo_surface_t* target = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_t* cairo = cairo_create(target);
  cairo_set_source_surface(cairo, source, 0, 0);
  cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
  cairo_paint(cairo);
  cairo_destroy(cairo);
  cairo_surface_flush(target);
  int stride = cairo_image_surface_get_stride(target);
  const unsigned char* data = cairo_image_surface_get_data(target);
  PixelStorage pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int row = 0; row < height; ++row) {
    std::memcpy(pixels.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(width),
                data + static_cast<std::ptrdiff_t>(row) * stride, static_cast<std::size_t>(width) * 4);
  }
  cairo_surface_destroy(target);
  return std::make_shared<const Bitmap>(width, height, 1.0, std::move(pixels));
}
}  // namespace

std::optional<std::vector<std::uint8_t>> jpegRepresentation(const Bitmap& bitmap, double quality) {
  if (bitmap.width() <= 0 || bitmap.height() <= 0) return std::nullopt;
  tjhandle handle = tjInitCompress();
  if (!handle) return std::nullopt;
  // JPEG has no alpha: transparent pixels become black, as the premultiplied values already are.
  // Baseline coding with the standard tables: progressive coding (or optimised tables) would make
  // screens 11 to 17 % smaller, but holds the whole picture's coefficients while it codes, about a
  // megabyte that the heap keeps between frames.
  int jpegQuality = static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100));
  jpegQuality = std::max(jpegQuality, 1);
  unsigned char* output = nullptr;
  unsigned long outputSize = 0;
  int status = tjCompress2(handle, reinterpret_cast<const unsigned char*>(bitmap.pixels().data()), bitmap.width(),
                           bitmap.width() * 4, bitmap.height(), kPixelFormat, &output, &outputSize, TJSAMP_420,
                           jpegQuality, TJFLAG_FASTDCT);
  std::optional<std::vector<std::uint8_t>> result;
  if (status == 0 && output) result.emplace(output, output + outputSize);
  tjFree(output);
  tjDestroy(handle);
  return result;
}

std::shared_ptr<const Bitmap> decodeJPEG(std::string_view bytes) {
  if (bytes.empty()) return nullptr;
  tjhandle handle = tjInitDecompress();
  if (!handle) return nullptr;
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colorspace = 0;
  auto* input = reinterpret_cast<const unsigned char*>(bytes.data());
  std::shared_ptr<const Bitmap> result;
  if (tjDecompressHeader3(handle, input, static_cast<unsigned long>(bytes.size()), &width, &height, &subsampling,
                          &colorspace) == 0 &&
      width > 0 && height > 0) {
    PixelStorage pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (tjDecompress2(handle, input, static_cast<unsigned long>(bytes.size()),
                      reinterpret_cast<unsigned char*>(pixels.data()), width, width * 4, height, kPixelFormat,
                      TJFLAG_FASTDCT) == 0) {
      for (auto& pixel : pixels) pixel |= 0xFF000000u;
      result = std::make_shared<const Bitmap>(width, height, 1.0, std::move(pixels));
    }
  }
  tjDestroy(handle);
  return result;
}

std::shared_ptr<const Bitmap> decodePNG(std::string_view bytes) {
  Reader reader{bytes};
  cairo_surface_t* surface = cairo_image_surface_create_from_png_stream(readBytes, &reader);
  std::shared_ptr<const Bitmap> result;
  if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) result = bitmapFromSurface(surface);
  cairo_surface_destroy(surface);
  return result;
}

std::optional<std::vector<std::uint8_t>> pngRepresentation(const Bitmap& bitmap) {
  if (bitmap.width() <= 0 || bitmap.height() <= 0) return std::nullopt;
  int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, bitmap.width());
  std::vector<unsigned char> data(static_cast<std::size_t>(stride) * static_cast<std::size_t>(bitmap.height()));
  for (int row = 0; row < bitmap.height(); ++row) {
    std::memcpy(data.data() + static_cast<std::ptrdiff_t>(row) * stride,
                bitmap.pixels().data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(bitmap.width()),
                static_cast<std::size_t>(bitmap.width()) * 4);
  }
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(data.data(), CAIRO_FORMAT_ARGB32, bitmap.width(), bitmap.height(), stride);
  std::vector<std::uint8_t> out;
  cairo_status_t status = cairo_surface_write_to_png_stream(surface, writeBytes, &out);
  cairo_surface_destroy(surface);
  if (status != CAIRO_STATUS_SUCCESS) return std::nullopt;
  return out;
}

}  // namespace obx::platform
