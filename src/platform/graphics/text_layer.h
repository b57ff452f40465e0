// TextLayer: the platform's CATextLayer, a layer that draws a string in its bounds.
#pragma once

#include <string>

#include "platform/graphics/layer.h"
#include "platform/graphics/text_drawing.h"

namespace obx::platform {

class TextLayer : public Layer {
 public:
  const std::string& string() const { return string_; }
  void setString(std::string text) { string_ = std::move(text); }
  TextStyle& textStyle() { return style_; }
  const TextStyle& textStyle() const { return style_; }
  const char* className() const override { return "TextLayer"; }

 protected:
  void drawInContext(BitmapContext& context) const override {
    drawText(context, string_, Rect{{0, 0}, frame().size}, style_);
  }

 private:
  std::string string_;
  TextStyle style_;
};

}  // namespace obx::platform
