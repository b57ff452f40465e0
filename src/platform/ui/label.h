// Label: a view that shows read-only text. Main queue only.
#pragma once

#include <optional>
#include <string>

#include "platform/graphics/text_drawing.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

class Label : public View {
 public:
  OBX_RUNTIME_CLASS(Label, "Label", View)
  Label() : Label(Rect{}) {}
  explicit Label(Rect frame, std::string text = {}) : View(frame), text_(std::move(text)) {
    setDeclaredClass(runtimeClass());
  }

  const std::string& text() const { return text_; }
  void setText(std::string text) {
    if (text == text_) return;
    text_ = std::move(text);
    visualStateChanged();
  }
  double fontSize() const { return fontSize_; }
  void setFontSize(double size) {
    fontSize_ = size;
    visualStateChanged();
  }
  const std::optional<Color>& textColor() const { return textColor_; }
  void setTextColor(std::optional<Color> color) {
    textColor_ = color;
    visualStateChanged();
  }
  int numberOfLines() const { return numberOfLines_; }
  void setNumberOfLines(int lines) {
    numberOfLines_ = lines;
    visualStateChanged();
  }
  // Where the text sits across the label's width; left by default.
  TextAlignment textAlignment() const { return textAlignment_; }
  void setTextAlignment(TextAlignment alignment) {
    if (alignment == textAlignment_) return;
    textAlignment_ = alignment;
    visualStateChanged();
  }
  const std::string& fontFamily() const { return fontFamily_; }
  void setFontFamily(std::string family) {
    fontFamily_ = std::move(family);
    visualStateChanged();
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    parts.push_back("text = " + quoteForDescription(text_));
    // Only when moved from the default, so that the description still changes with it.
    if (textAlignment_ == TextAlignment::center) parts.push_back("textAlignment = center");
    if (textAlignment_ == TextAlignment::right) parts.push_back("textAlignment = right");
  }
  bool hasContents() const override { return !text_.empty(); }
  void drawRect(BitmapContext& context, Rect bounds) const override {
    TextStyle style;
    style.fontFamily = fontFamily_;
    style.fontSize = fontSize_;
    style.color = textColor_.value_or(Color{0, 0, 0, 1});
    style.numberOfLines = numberOfLines_;
    style.alignment = textAlignment_;
    drawText(context, text_, bounds, style);
  }

 private:
  std::string text_;
  double fontSize_ = 17.0;
  std::optional<Color> textColor_;
  int numberOfLines_ = 1;
  TextAlignment textAlignment_ = TextAlignment::left;
  std::string fontFamily_ = kDefaultFontFamily;
};

}  // namespace obx::platform
