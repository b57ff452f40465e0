// BitmapContext: an offscreen drawing surface of a size in points at a scale (the platform's
// UIGraphicsBeginImageContextWithOptions and CGContext functions). Coordinates are points, origin at
// the top left. One thread at a time; different contexts may be drawn on different threads.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/graphics/bezier_path.h"
#include "platform/graphics/bitmap.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

struct _cairo;
struct _cairo_surface;

namespace obx::platform {

enum class PathDrawingMode { fill = 0, eoFill = 1, stroke = 2, fillStroke = 3 };

class BitmapContext {
 public:
  // Null when the size is empty, not finite or larger than 16384 pixels a side, or when Cairo can't
  // allocate the surface. An opaque context starts black, a transparent one clear.
  static std::unique_ptr<BitmapContext> make(Size size, bool opaque, double scale);
  // Whether `make` would give a context, without allocating one.
  static bool canMake(Size size, double scale);
  ~BitmapContext();
  BitmapContext(const BitmapContext&) = delete;
  BitmapContext& operator=(const BitmapContext&) = delete;

  Size size() const { return size_; }
  double scale() const { return scale_; }

  void saveGState();
  void restoreGState();
  void translateCTM(double dx, double dy);
  void scaleCTM(double sx, double sy);
  void clipToRect(Rect rect);
  void fillRect(Rect rect, const Color& color);
  // Makes the rectangle transparent (black in an opaque context).
  void clearRect(Rect rect);
  void setLineWidth(double width) { lineWidth_ = width; }
  void setFillColor(const Color& color) { fillColor_ = color; }
  void setStrokeColor(const Color& color) { strokeColor_ = color; }
  void addPath(const BezierPath& path);
  // Draws and then empties the current path.
  void drawPath(PathDrawingMode mode);
  // A copy of the pixels as they stand, with `kind`.
  std::shared_ptr<const Bitmap> makeImage(BitmapKind kind = BitmapKind::image) const;

  // For the platform's own drawing code (layers, text): the Cairo context, in points.
  _cairo* cairo() const { return cairo_; }

 private:
  BitmapContext(_cairo_surface* surface, _cairo* cairo, Size size, double scale, bool opaque);

  _cairo_surface* surface_;
  _cairo* cairo_;
  Size size_;
  double scale_;
  bool opaque_;
  double lineWidth_ = 1.0;
  Color fillColor_{0, 0, 0, 1};
  Color strokeColor_{0, 0, 0, 1};
  std::vector<RoundedRect> path_;
};

// Adds a rounded rectangle to a Cairo path; a radius is clamped to half the shorter side.
void appendRoundedRect(_cairo* cairo, const RoundedRect& shape);
void setSourceColor(_cairo* cairo, const Color& color);

}  // namespace obx::platform
