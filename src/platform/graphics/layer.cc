#include "platform/graphics/layer.h"

#include <cairo.h>

#include <algorithm>
#include <cstdio>

namespace obx::platform {

void Layer::addSublayer(const std::shared_ptr<Layer>& layer) {
  if (!layer || layer.get() == this) return;
  auto keep = layer;
  layer->removeFromSuperlayer();
  sublayers_.push_back(layer);
  layer->superlayer_ = weak_from_this();
}

void Layer::removeFromSuperlayer() {
  auto parent = superlayer_.lock();
  superlayer_.reset();
  if (!parent) return;
  auto& list = parent->sublayers_;
  list.erase(std::remove_if(list.begin(), list.end(), [&](const auto& each) { return each.get() == this; }),
             list.end());
}

void Layer::renderInContext(BitmapContext& context) const { render(context, true); }

void Layer::render(BitmapContext& context, bool atOrigin) const {
  if (attributes_.hidden || !(attributes_.opacity > 0)) return;
  cairo_t* cairo = context.cairo();
  cairo_save(cairo);
  if (!atOrigin) cairo_translate(cairo, frame_.origin.x, frame_.origin.y);
  bool grouped = attributes_.opacity < 1.0;
  if (grouped) cairo_push_group(cairo);

  Rect local{{0, 0}, frame_.size};
  RoundedRect outline{local, attributes_.cornerRadius};
  // Outside the visible area the layer's own drawing is skipped; its sublayers decide for themselves
  // unless it clips them.
  double clipX1 = 0, clipY1 = 0, clipX2 = 0, clipY2 = 0;
  cairo_clip_extents(cairo, &clipX1, &clipY1, &clipX2, &clipY2);
  bool visible = local.maxX() > clipX1 && local.minX() < clipX2 && local.maxY() > clipY1 && local.minY() < clipY2;
  if (!visible && (attributes_.masksToBounds || sublayers_.empty())) {
    if (grouped) cairo_pattern_destroy(cairo_pop_group(cairo));
    cairo_restore(cairo);
    return;
  }
  if (attributes_.masksToBounds) {
    cairo_new_path(cairo);
    appendRoundedRect(cairo, outline);
    cairo_clip(cairo);
  }
  if (visible && backgroundColor_ && backgroundColor_->alpha > 0) {
    cairo_new_path(cairo);
    appendRoundedRect(cairo, outline);
    setSourceColor(cairo, *backgroundColor_);
    cairo_fill(cairo);
  }
  if (visible && contents_ && contents_->width() > 0 && contents_->height() > 0 && local.size.width > 0 &&
      local.size.height > 0) {
    auto* data = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(contents_->pixels().data()));
    cairo_surface_t* image = cairo_image_surface_create_for_data(data, CAIRO_FORMAT_ARGB32, contents_->width(),
                                                                 contents_->height(), contents_->width() * 4);
    cairo_save(cairo);
    cairo_new_path(cairo);
    cairo_rectangle(cairo, 0, 0, local.size.width, local.size.height);
    cairo_clip(cairo);
    double sx = local.size.width / contents_->width();
    double sy = local.size.height / contents_->height();
    cairo_scale(cairo, sx, sy);
    cairo_set_source_surface(cairo, image, 0, 0);
    // Contents drawn at the size they are shown need no filtering, which is most of the cost.
    cairo_matrix_t device;
    cairo_get_matrix(cairo, &device);
    bool oneToOne = device.xx == 1.0 && device.yy == 1.0 && device.xy == 0.0 && device.yx == 0.0;
    cairo_pattern_set_filter(cairo_get_source(cairo), oneToOne ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
    cairo_paint(cairo);
    cairo_restore(cairo);
    cairo_surface_destroy(image);
  }
  if (visible) drawInContext(context);

  if (!sublayers_.empty()) {
    cairo_save(cairo);
    cairo_translate(cairo, -boundsOrigin_.x, -boundsOrigin_.y);
    // Higher zPosition on top; equal ones keep their order.
    std::vector<const Layer*> ordered;
    ordered.reserve(sublayers_.size());
    for (const auto& each : sublayers_) ordered.push_back(each.get());
    std::stable_sort(ordered.begin(), ordered.end(), [](const Layer* a, const Layer* b) {
      return a->attributes_.zPosition < b->attributes_.zPosition;
    });
    for (const Layer* each : ordered) each->render(context, false);
    cairo_restore(cairo);
  }

  if (visible && attributes_.borderWidth > 0 && attributes_.borderColor) {
    // The border lies inside the bounds, as the platform draws it.
    double inset = attributes_.borderWidth / 2;
    cairo_new_path(cairo);
    appendRoundedRect(cairo, {Rect::make(inset, inset, local.size.width - 2 * inset, local.size.height - 2 * inset),
                              std::max(0.0, attributes_.cornerRadius - inset)});
    setSourceColor(cairo, *attributes_.borderColor);
    cairo_set_line_width(cairo, attributes_.borderWidth);
    cairo_stroke(cairo);
  }

  if (grouped) {
    cairo_pop_group_to_source(cairo);
    cairo_paint_with_alpha(cairo, attributes_.opacity);
  }
  cairo_restore(cairo);
}

std::string Layer::description() const {
  char text[96];
  std::snprintf(text, sizeof text, "<%s: %p>", className(), static_cast<const void*>(this));
  return text;
}

}  // namespace obx::platform
