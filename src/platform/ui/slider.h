// Slider: a control choosing a value between a minimum and a maximum. Main queue only.
#pragma once

#include <algorithm>

#include "platform/ui/control.h"

namespace obx::platform {

class Slider : public Control {
 public:
  OBX_RUNTIME_CLASS(Slider, "Slider", Control)
  Slider() : Slider(Rect{}) {}
  explicit Slider(Rect frame) : Control(frame) { setDeclaredClass(runtimeClass()); }

  double value() const { return value_; }
  void setValue(double value) {
    value = std::clamp(value, minimumValue_, maximumValue_);
    if (value == value_) return;
    value_ = value;
    visualStateChanged();
  }
  double minimumValue() const { return minimumValue_; }
  double maximumValue() const { return maximumValue_; }
  void setRange(double minimum, double maximum) {
    minimumValue_ = minimum;
    maximumValue_ = std::max(minimum, maximum);
    setValue(value_);
  }
  // The user drags the thumb to `value`.
  void slide(double value) {
    setValue(value);
    sendActionsForControlEvents(kControlEventValueChanged);
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    Control::describeState(parts);
    parts.push_back("value = " + formatCoordinate(value_));
  }

 private:
  double value_ = 0;
  double minimumValue_ = 0;
  double maximumValue_ = 1;
};

}  // namespace obx::platform
