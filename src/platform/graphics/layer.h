// Layer: the platform's CALayer, a rectangle in its superlayer's coordinates with a background,
// border, corner radius, opacity, optional contents (a bitmap stretched over the bounds) and
// sublayers drawn in order. `renderInContext` draws the layer and its tree into a bitmap context.
//
// A layer tree may be built on one thread and rendered on another, but not used by two at once.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/graphics/bitmap.h"
#include "platform/graphics/bitmap_context.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

namespace obx::platform {

// The properties a layer copy carries over one by one. Most only take part in drawing through
// opacity, borders, corners and clipping; the rest are kept so that a copy is faithful.
struct LayerAttributes {
  std::optional<Color> borderColor;
  double borderWidth = 0;
  double cornerRadius = 0;
  std::string cornerCurve = "circular";
  std::string fillMode = "removed";
  double opacity = 1.0;
  std::optional<Color> shadowColor;
  std::optional<Rect> shadowPath;
  Size shadowOffset{0, -3};
  double shadowRadius = 3;
  double shadowOpacity = 0;
  double zPosition = 0;
  bool masksToBounds = false;
  Rect contentsRect{{0, 0}, {1, 1}};
  double contentsScale = 1.0;
  Rect contentsCenter{{0, 0}, {1, 1}};
  std::string contentsFormat = "RGBA8Uint";
  std::string contentsGravity = "resize";
  double anchorPointZ = 0;
  bool autoreverses = false;
  bool doubleSided = true;
  bool geometryFlipped = false;
  bool hidden = false;
  bool shouldRasterize = false;
  std::vector<std::string> filters;
  std::string magnificationFilter = "linear";
  double minificationFilterBias = 0;
  double rasterizationScale = 1.0;
  std::optional<std::string> style;
  std::optional<std::string> name;
  bool operator==(const LayerAttributes&) const = default;
};

class Layer : public std::enable_shared_from_this<Layer> {
 public:
  Layer() = default;
  virtual ~Layer() = default;
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;

  Rect frame() const { return frame_; }
  void setFrame(Rect frame) { frame_ = frame; }
  // The origin of the layer's own coordinates (a scroll layer's offset); the size is the frame's.
  Rect bounds() const { return {boundsOrigin_, frame_.size}; }
  void setBoundsOrigin(Point origin) { boundsOrigin_ = origin; }
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color) { backgroundColor_ = color; }
  const std::shared_ptr<const Bitmap>& contents() const { return contents_; }
  void setContents(std::shared_ptr<const Bitmap> contents) { contents_ = std::move(contents); }
  LayerAttributes& attributes() { return attributes_; }
  const LayerAttributes& attributes() const { return attributes_; }
  bool isHidden() const { return attributes_.hidden; }
  void setHidden(bool hidden) { attributes_.hidden = hidden; }
  double opacity() const { return attributes_.opacity; }
  void setOpacity(double opacity) { attributes_.opacity = opacity; }

  const std::vector<std::shared_ptr<Layer>>& sublayers() const { return sublayers_; }
  std::shared_ptr<Layer> superlayer() const { return superlayer_.lock(); }
  // Adds on top, taking the layer from its former superlayer.
  void addSublayer(const std::shared_ptr<Layer>& layer);
  void removeFromSuperlayer();
  // Layers here have no animations; kept so that a tree is taken apart the way the platform does.
  void removeAllAnimations() {}

  // Draws the layer in its own coordinates (its bounds at the context's origin), then its tree.
  void renderInContext(BitmapContext& context) const;

  // "<Layer: 0x...>", the class name first.
  std::string description() const;
  virtual const char* className() const { return "Layer"; }

 protected:
  // The layer's own drawing over its background and contents, in its bounds' coordinates.
  virtual void drawInContext(BitmapContext& context) const { (void)context; }

 private:
  void render(BitmapContext& context, bool atOrigin) const;

  Rect frame_;
  Point boundsOrigin_;
  std::optional<Color> backgroundColor_;
  std::shared_ptr<const Bitmap> contents_;
  LayerAttributes attributes_;
  std::vector<std::shared_ptr<Layer>> sublayers_;
  std::weak_ptr<Layer> superlayer_;
};

// CAScrollLayer: shows its sublayers moved by the scrolled point.
class ScrollLayer : public Layer {
 public:
  void scrollToPoint(Point point) { setBoundsOrigin(point); }
  const char* className() const override { return "ScrollLayer"; }
};

}  // namespace obx::platform
