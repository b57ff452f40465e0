// DatePicker: a control choosing a date. Main queue only.
#pragma once

#include "platform/dispatch/clock.h"
#include "platform/ui/control.h"

namespace obx::platform {

enum class DatePickerMode { time, date, dateAndTime, countDownTimer };

class DatePicker : public Control {
 public:
  OBX_RUNTIME_CLASS(DatePicker, "DatePicker", Control)
  DatePicker() : DatePicker(Rect{}) {}
  explicit DatePicker(Rect frame) : Control(frame) { setDeclaredClass(runtimeClass()); }

  Date date() const { return date_; }
  void setDate(Date date) {
    if (date == date_) return;
    date_ = date;
    visualStateChanged();
  }
  DatePickerMode datePickerMode() const { return mode_; }
  void setDatePickerMode(DatePickerMode mode) { mode_ = mode; }
  // The user picks `date`.
  void pick(Date date) {
    setDate(date);
    sendActionsForControlEvents(kControlEventValueChanged);
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    Control::describeState(parts);
    parts.push_back("date = " + formatCoordinate(date_));
  }

 private:
  Date date_ = 0;
  DatePickerMode mode_ = DatePickerMode::dateAndTime;
};

}  // namespace obx::platform
