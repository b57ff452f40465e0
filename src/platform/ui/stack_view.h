// StackView: lays its arranged subviews one after the other along an axis, with a spacing; each
// keeps its own size along the axis and takes the stack's size across it. Main queue only.
#pragma once

#include <memory>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

enum class LayoutAxis { horizontal, vertical };

class StackView : public View {
 public:
  OBX_RUNTIME_CLASS(StackView, "StackView", View)
  StackView() : StackView(Rect{}) {}
  explicit StackView(Rect frame, LayoutAxis axis = LayoutAxis::vertical) : View(frame), axis_(axis) {
    setDeclaredClass(runtimeClass());
  }

  LayoutAxis axis() const { return axis_; }
  double spacing() const { return spacing_; }
  void setSpacing(double spacing) {
    spacing_ = spacing;
    layoutArrangedSubviews();
  }
  std::vector<std::shared_ptr<View>> arrangedSubviews() const {
    std::vector<std::shared_ptr<View>> list;
    for (const auto& weak : arranged_) {
      if (auto view = weak.lock(); view && view->superview().get() == this) list.push_back(view);
    }
    return list;
  }
  void addArrangedSubview(const std::shared_ptr<View>& view) {
    addSubview(view);
    arranged_.push_back(view);
    layoutArrangedSubviews();
  }
  // Places the arranged subviews; hidden ones take no room.
  void layoutArrangedSubviews() {
    double position = 0;
    for (const auto& view : arrangedSubviews()) {
      if (view->isHidden()) continue;
      Rect frame = view->frame();
      if (axis_ == LayoutAxis::vertical) {
        frame = Rect{{0, position}, {bounds().size.width, frame.size.height}};
        position += frame.size.height + spacing_;
      } else {
        frame = Rect{{position, 0}, {frame.size.width, bounds().size.height}};
        position += frame.size.width + spacing_;
      }
      view->setFrame(frame);
    }
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    parts.push_back(axis_ == LayoutAxis::vertical ? "axis = vertical" : "axis = horizontal");
  }

 private:
  LayoutAxis axis_;
  double spacing_ = 0;
  std::vector<std::weak_ptr<View>> arranged_;
};

}  // namespace obx::platform
