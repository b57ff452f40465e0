// Button: a control with a title that sends its actions when tapped. Main queue only.
#pragma once

#include <string>

#include "platform/graphics/text_drawing.h"
#include "platform/ui/control.h"

namespace obx::platform {

class Button : public Control {
 public:
  OBX_RUNTIME_CLASS(Button, "Button", Control)
  Button() : Button(Rect{}) {}
  explicit Button(Rect frame, std::string title = {}) : Control(frame), title_(std::move(title)) {
    setDeclaredClass(runtimeClass());
  }

  const std::string& title() const { return title_; }
  void setTitle(std::string title) {
    if (title == title_) return;
    title_ = std::move(title);
    visualStateChanged();
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    Control::describeState(parts);
    parts.push_back("title = " + quoteForDescription(title_));
  }
  bool hasContents() const override { return !title_.empty(); }
  void drawRect(BitmapContext& context, Rect bounds) const override {
    TextStyle style;
    style.color = Color{0, 0.478, 1, 1};
    style.alignment = TextAlignment::center;
    drawText(context, title_, bounds, style);
  }

 private:
  std::string title_;
};

}  // namespace obx::platform
