// VisualEffectView: a blur or vibrancy over what lies behind it, with a content view for its own
// subviews. Main queue only.
#pragma once

#include <memory>

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

enum class BlurEffectStyle { light, dark, regular, prominent };

class VisualEffectView : public View {
 public:
  OBX_RUNTIME_CLASS(VisualEffectView, "VisualEffectView", View)
  VisualEffectView() : VisualEffectView(Rect{}) {}
  explicit VisualEffectView(Rect frame, BlurEffectStyle style = BlurEffectStyle::regular)
      : View(frame), style_(style), contentView_(std::make_shared<View>(Rect{{0, 0}, frame.size})) {
    setDeclaredClass(runtimeClass());
  }

  BlurEffectStyle effectStyle() const { return style_; }
  // Subviews of the effect view go here; it joins the effect view when that joins a window.
  std::shared_ptr<View> contentView() const { return contentView_; }

 protected:
  void didMoveToWindow() override {
    if (!contentView_->superview()) addSubview(contentView_);
  }
  void describeState(std::vector<std::string>& parts) const override {
    parts.push_back("effect = " + std::to_string(static_cast<int>(style_)));
  }

 private:
  BlurEffectStyle style_;
  std::shared_ptr<View> contentView_;
};

}  // namespace obx::platform
