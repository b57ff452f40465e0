// Switch: an on/off control. A tap flips it and sends the value-changed actions. Main queue only.
#pragma once

#include "platform/ui/control.h"

namespace obx::platform {

class Switch : public Control {
 public:
  OBX_RUNTIME_CLASS(Switch, "Switch", Control)
  Switch() : Switch(Rect{}) {}
  explicit Switch(Rect frame) : Control(frame) { setDeclaredClass(runtimeClass()); }

  bool isOn() const { return on_; }
  void setOn(bool on, bool animated = false) {
    (void)animated;
    if (on == on_) return;
    on_ = on;
    visualStateChanged();
  }
  void tap() override {
    if (!isEnabled()) return;
    Control::tap();
    setOn(!on_);
    sendActionsForControlEvents(kControlEventValueChanged);
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    Control::describeState(parts);
    parts.push_back(on_ ? "on = YES" : "on = NO");
  }

 private:
  bool on_ = false;
};

}  // namespace obx::platform
