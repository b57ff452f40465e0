// SegmentedControl: a row of segments of which one is selected. Main queue only.
#pragma once

#include <string>
#include <vector>

#include "platform/ui/control.h"

namespace obx::platform {

class SegmentedControl : public Control {
 public:
  static constexpr long kNoSegment = -1;

  OBX_RUNTIME_CLASS(SegmentedControl, "SegmentedControl", Control)
  SegmentedControl() : SegmentedControl(Rect{}) {}
  explicit SegmentedControl(Rect frame, std::vector<std::string> titles = {})
      : Control(frame), titles_(std::move(titles)) {
    setDeclaredClass(runtimeClass());
  }

  std::size_t numberOfSegments() const { return titles_.size(); }
  std::string titleForSegment(std::size_t index) const { return index < titles_.size() ? titles_[index] : ""; }
  void setTitles(std::vector<std::string> titles) {
    titles_ = std::move(titles);
    if (selected_ >= static_cast<long>(titles_.size())) selected_ = kNoSegment;
    visualStateChanged();
  }
  long selectedSegmentIndex() const { return selected_; }
  void setSelectedSegmentIndex(long index) {
    if (index < kNoSegment || index >= static_cast<long>(titles_.size()) || index == selected_) return;
    selected_ = index;
    visualStateChanged();
  }
  // The user taps segment `index`.
  void tapSegment(long index) {
    if (!isEnabled()) return;
    setSelectedSegmentIndex(index);
    sendActionsForControlEvents(kControlEventValueChanged);
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    Control::describeState(parts);
    parts.push_back("selectedSegmentIndex = " + std::to_string(selected_));
  }

 private:
  std::vector<std::string> titles_;
  long selected_ = kNoSegment;
};

}  // namespace obx::platform
