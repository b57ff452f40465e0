// ScrollView: a view whose content is larger than its frame and moves under it. The content offset
// is the bounds' origin. `setContentOffset:` is sent through the object run-time, so a replaced
// implementation sees every scroll of every scroll view; the dragging state tells scrolls by the
// user from scrolls by code. Main queue only.
#pragma once

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

namespace selectors {
inline constexpr const char* setContentOffset = "setContentOffset:";
}  // namespace selectors

using SetContentOffsetSignature = void(Object&, Point);

class ScrollView : public View {
 public:
  static Class* runtimeClass();
  ScrollView() : ScrollView(Rect{}) {}
  explicit ScrollView(Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }

  Point contentOffset() const { return bounds().origin; }
  // Sends "setContentOffset:" through the run-time.
  void setContentOffset(Point offset);
  Size contentSize() const { return contentSize_; }
  void setContentSize(Size size) {
    contentSize_ = size;
    visualStateChanged();
  }
  bool isDragging() const { return dragging_; }
  bool isTracking() const { return tracking_; }
  bool isDecelerating() const { return decelerating_; }
  // The pan recogniser that drives scrolling, attached on first use; a pinch recogniser joins it
  // when zooming is enabled.
  std::shared_ptr<GestureRecognizer> panGestureRecognizer() const;
  std::shared_ptr<GestureRecognizer> pinchGestureRecognizer() const;
  void setZoomEnabled(bool enabled) { zoomEnabled_ = enabled; }
  std::vector<std::shared_ptr<GestureRecognizer>> gestureRecognizers() const override;

  bool isScrollEnabled() const { return scrollEnabled_; }
  void setScrollEnabled(bool enabled) { scrollEnabled_ = enabled; }

  // The user's finger: touches the content, drags it by steps, lets it go.
  void beginDragging();
  void dragBy(double dx, double dy);
  void endDragging(bool willDecelerate);
  void endDecelerating() { decelerating_ = false; }

 protected:
  // The body of "setContentOffset:": moves the bounds' origin.
  virtual void applyContentOffset(Point offset) { setBoundsOrigin(offset); }
  void describeState(std::vector<std::string>& parts) const override;

 private:
  Size contentSize_;
  bool dragging_ = false;
  bool tracking_ = false;
  bool decelerating_ = false;
  bool scrollEnabled_ = true;
  bool zoomEnabled_ = false;
  mutable std::shared_ptr<GestureRecognizer> pan_;
  mutable std::shared_ptr<GestureRecognizer> pinch_;
};

}  // namespace obx::platform
