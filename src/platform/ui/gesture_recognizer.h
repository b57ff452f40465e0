// GestureRecognizer: a recogniser attached to a view, which the toolkit hands every touch that lands
// in that view or below it. Only what the capture code reads is modelled: its kind and its view.
// The view is held weakly, as on the platform. Main queue only.
#pragma once

#include <memory>

#include "platform/runtime/runtime.h"

namespace obx::platform {

class View;

enum class GestureRecognizerKind { tap, longPress, pan, pinch, swipe };

class GestureRecognizer : public Object {
 public:
  OBX_RUNTIME_CLASS(GestureRecognizer, "GestureRecognizer", Object)
  explicit GestureRecognizer(GestureRecognizerKind kind) : kind_(kind) { setDeclaredClass(runtimeClass()); }

  GestureRecognizerKind kind() const { return kind_; }
  // The view it is attached to; null before it is attached or once the view is gone.
  std::shared_ptr<View> view() const { return view_.lock(); }
  // Called by View when it takes or gives up the recogniser.
  void setView(std::weak_ptr<View> view) { view_ = std::move(view); }

 private:
  GestureRecognizerKind kind_;
  std::weak_ptr<View> view_;
};

}  // namespace obx::platform
