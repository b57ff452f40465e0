// Button: a control with a title that sends its actions when tapped. Main queue only.
#pragma once

#include <string>

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

 private:
  std::string title_;
};

}  // namespace obx::platform
