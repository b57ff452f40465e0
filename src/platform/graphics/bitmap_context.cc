#include "platform/graphics/bitmap_context.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "platform/graphics/page_memory.h"

namespace obx::platform {

namespace {
constexpr int kMaxPixelsPerSide = 16384;

// A surface on page memory: a full-screen frame goes back to the kernel as soon as its context
// closes, instead of staying in the heap between frames.
struct SurfaceMemory {
  void* data;
  std::size_t bytes;
};
const cairo_user_data_key_t kSurfaceMemoryKey{};

void releaseSurfaceMemory(void* memory) {
  auto* block = static_cast<SurfaceMemory*>(memory);
  releasePageMemory(block->data, block->bytes);
  delete block;
}

// Null when the memory can't be had.
cairo_surface_t* makeSurface(int width, int height) {
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, width);
  const std::size_t bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height);
  if (stride <= 0 || bytes < kPageMemoryThreshold) return cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  void* data = takePageMemory(bytes);
  if (!data) return nullptr;
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(static_cast<unsigned char*>(data), CAIRO_FORMAT_ARGB32, width, height, stride);
  auto block = std::make_unique<SurfaceMemory>(SurfaceMemory{data, bytes});
  if (cairo_surface_set_user_data(surface, &kSurfaceMemoryKey, block.get(), releaseSurfaceMemory) !=
      CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(surface);
    releasePageMemory(data, bytes);
    return nullptr;
  }
  block.release();  // the surface frees it
  return surface;
}

bool pixelSize(Size size, double scale, int& width, int& height) {
  if (!(scale > 0) || !std::isfinite(scale)) return false;
  double w = std::ceil(size.width * scale - 1e-9);
  double h = std::ceil(size.height * scale - 1e-9);
  if (!std::isfinite(w) || !std::isfinite(h) || w < 1 || h < 1 || w > kMaxPixelsPerSide || h > kMaxPixelsPerSide) {
    return false;
  }
  width = static_cast<int>(w);
  height = static_cast<int>(h);
  return true;
}
}  // namespace

bool BitmapContext::canMake(Size size, double scale) {
  int width = 0;
  int height = 0;
  return pixelSize(size, scale, width, height);
}

std::unique_ptr<BitmapContext> BitmapContext::make(Size size, bool opaque, double scale) {
  int width = 0;
  int height = 0;
  if (!pixelSize(size, scale, width, height)) return nullptr;
  cairo_surface_t* surface = makeSurface(width, height);
  if (!surface) return nullptr;
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(surface);
    return nullptr;
  }
  cairo_t* cairo = cairo_create(surface);
  if (cairo_status(cairo) != CAIRO_STATUS_SUCCESS) {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
    return nullptr;
  }
  // Every context starts black or clear.
  cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
  cairo_set_source_rgba(cairo, 0, 0, 0, opaque ? 1 : 0);
  cairo_paint(cairo);
  cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);
  cairo_scale(cairo, scale, scale);
  return std::unique_ptr<BitmapContext>(new BitmapContext(surface, cairo, size, scale, opaque));
}

BitmapContext::BitmapContext(_cairo_surface* surface, _cairo* cairo, Size size, double scale, bool opaque)
    : surface_(surface), cairo_(cairo), size_(size), scale_(scale), opaque_(opaque) {}

BitmapContext::~BitmapContext() {
  cairo_destroy(cairo_);
  cairo_surface_destroy(surface_);
}

void BitmapContext::saveGState() { cairo_save(cairo_); }
void BitmapContext::restoreGState() { cairo_restore(cairo_); }
void BitmapContext::translateCTM(double dx, double dy) { cairo_translate(cairo_, dx, dy); }

void BitmapContext::scaleCTM(double sx, double sy) { cairo_scale(cairo_, sx, sy); }

void BitmapContext::clipToRect(Rect rect) {
  cairo_new_path(cairo_);
  cairo_rectangle(cairo_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_clip(cairo_);
}

void BitmapContext::fillRect(Rect rect, const Color& color) {
  cairo_save(cairo_);
  cairo_new_path(cairo_);
  cairo_rectangle(cairo_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  setSourceColor(cairo_, color);
  cairo_fill(cairo_);
  cairo_restore(cairo_);
}

void BitmapContext::clearRect(Rect rect) {
  cairo_save(cairo_);
  cairo_new_path(cairo_);
  cairo_rectangle(cairo_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  if (opaque_) {
    cairo_set_source_rgb(cairo_, 0, 0, 0);
  } else {
    cairo_set_operator(cairo_, CAIRO_OPERATOR_CLEAR);
  }
  cairo_fill(cairo_);
  cairo_restore(cairo_);
}

void BitmapContext::addPath(const BezierPath& path) {
  path_.insert(path_.end(), path.shapes().begin(), path.shapes().end());
}

void BitmapContext::drawPath(PathDrawingMode mode) {
  cairo_save(cairo_);
  cairo_new_path(cairo_);
  for (const auto& shape : path_) appendRoundedRect(cairo_, shape);
  path_.clear();
  cairo_set_fill_rule(cairo_, mode == PathDrawingMode::eoFill ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
  bool fill = mode != PathDrawingMode::stroke;
  bool stroke = mode == PathDrawingMode::stroke || mode == PathDrawingMode::fillStroke;
  if (fill) {
    setSourceColor(cairo_, fillColor_);
    stroke ? cairo_fill_preserve(cairo_) : cairo_fill(cairo_);
  }
  if (stroke) {
    setSourceColor(cairo_, strokeColor_);
    cairo_set_line_width(cairo_, lineWidth_);
    cairo_stroke(cairo_);
  }
  cairo_restore(cairo_);
}

std::shared_ptr<const Bitmap> BitmapContext::makeImage(BitmapKind kind) const {
  cairo_surface_flush(surface_);
  int width = cairo_image_surface_get_width(surface_);
  int height = cairo_image_surface_get_height(surface_);
  int stride = cairo_image_surface_get_stride(surface_);
  const unsigned char* data = cairo_image_surface_get_data(surface_);
  PixelStorage pixels;
  // ARGB32 rows are whole 32-bit words with no padding, so the surface copies in one piece, without
  // clearing the vector first.
  if (stride == width * 4) {
    const auto* words = reinterpret_cast<const std::uint32_t*>(data);
    pixels.assign(words, words + static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  } else {
    pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
      std::memcpy(pixels.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(width),
                  data + static_cast<std::ptrdiff_t>(row) * stride, static_cast<std::size_t>(width) * 4);
    }
  }
  return std::make_shared<const Bitmap>(width, height, scale_, std::move(pixels), kind);
}

void appendRoundedRect(_cairo* cairo, const RoundedRect& shape) {
  const Rect& r = shape.rect;
  double radius = std::clamp(shape.cornerRadius, 0.0, std::min(r.size.width, r.size.height) / 2);
  if (radius <= 0) {
    cairo_rectangle(cairo, r.origin.x, r.origin.y, r.size.width, r.size.height);
    return;
  }
  constexpr double kQuarter = M_PI / 2;
  cairo_new_sub_path(cairo);
  cairo_arc(cairo, r.maxX() - radius, r.minY() + radius, radius, -kQuarter, 0);
  cairo_arc(cairo, r.maxX() - radius, r.maxY() - radius, radius, 0, kQuarter);
  cairo_arc(cairo, r.minX() + radius, r.maxY() - radius, radius, kQuarter, 2 * kQuarter);
  cairo_arc(cairo, r.minX() + radius, r.minY() + radius, radius, 2 * kQuarter, 3 * kQuarter);
  cairo_close_path(cairo);
}

void setSourceColor(_cairo* cairo, const Color& color) {
  cairo_set_source_rgba(cairo, color.red, color.green, color.blue, color.alpha);
}

}  // namespace obx::platform
