#include "platform/graphics/text_drawing.h"

#include <cairo.h>
#include <pango/pangocairo.h>

namespace obx::platform {

namespace {
PangoLayout* makeLayout(cairo_t* cairo, const std::string& text, const TextStyle& style) {
  // Outlines fitted to the pixel grid: stems land on whole pixels, with fewer grey fringes, which
  // reads as well and makes a screen of text about 4 % smaller as JPEG.
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_FULL);
  cairo_set_font_options(cairo, options);
  cairo_font_options_destroy(options);
  PangoLayout* layout = pango_cairo_create_layout(cairo);
  PangoFontDescription* font = pango_font_description_new();
  pango_font_description_set_family(font, style.fontFamily.c_str());
  pango_font_description_set_absolute_size(font, style.fontSize * PANGO_SCALE);
  pango_layout_set_font_description(layout, font);
  pango_font_description_free(font);
  pango_layout_set_text(layout, text.c_str(), static_cast<int>(text.size()));
  return layout;
}
}  // namespace

void drawText(BitmapContext& context, const std::string& text, Rect rect, const TextStyle& style) {
  if (text.empty() || rect.size.width <= 0 || rect.size.height <= 0) return;
  cairo_t* cairo = context.cairo();
  cairo_save(cairo);
  cairo_new_path(cairo);
  cairo_rectangle(cairo, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_clip(cairo);
  PangoLayout* layout = makeLayout(cairo, text, style);
  pango_layout_set_width(layout, static_cast<int>(rect.size.width * PANGO_SCALE));
  if (style.numberOfLines == 1) {
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
  } else {
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    if (style.numberOfLines > 1) pango_layout_set_height(layout, -style.numberOfLines);
  }
  pango_layout_set_alignment(layout, style.alignment == TextAlignment::center  ? PANGO_ALIGN_CENTER
                                     : style.alignment == TextAlignment::right ? PANGO_ALIGN_RIGHT
                                                                               : PANGO_ALIGN_LEFT);
  int width = 0;
  int height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  double top = rect.origin.y + (rect.size.height - height) / 2;
  setSourceColor(cairo, style.color);
  cairo_move_to(cairo, rect.origin.x, top);
  pango_cairo_show_layout(cairo, layout);
  g_object_unref(layout);
  cairo_restore(cairo);
}

Size measureText(const std::string& text, const TextStyle& style) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
  cairo_t* cairo = cairo_create(surface);
  PangoLayout* layout = makeLayout(cairo, text, style);
  int width = 0;
  int height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  g_object_unref(layout);
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
  return {static_cast<double>(width), static_cast<double>(height)};
}

Size measureWrappedText(const std::string& text, const TextStyle& style, double width) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
  cairo_t* cairo = cairo_create(surface);
  PangoLayout* layout = makeLayout(cairo, text, style);
  if (width > 0) pango_layout_set_width(layout, static_cast<int>(width * PANGO_SCALE));
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  int measuredWidth = 0;
  int measuredHeight = 0;
  pango_layout_get_pixel_size(layout, &measuredWidth, &measuredHeight);
  g_object_unref(layout);
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
  return {static_cast<double>(measuredWidth), static_cast<double>(measuredHeight)};
}

}  // namespace obx::platform
