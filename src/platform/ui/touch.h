// Touch: one finger on the screen, as the toolkit reports it through the events of the application.
// The same object follows the finger from its first contact to its lift, its phase and location
// changing on the way. The location is kept in the coordinates of the touch's window;
// `locationInView` converts it. `gestureRecognizers` is the list of recognisers that receive the
// touch, those of the outermost view first and those of the touched view last; it may be absent,
// as the platform leaves it for touches no recogniser looked at. Main queue only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/geometry.h"
#include "platform/ui/gesture_recognizer.h"

namespace obx::platform {

class View;
class Window;

enum class TouchPhase { began, moved, stationary, ended, cancelled };

class Touch : public Object {
 public:
  OBX_RUNTIME_CLASS(Touch, "Touch", Object)
  Touch() { setDeclaredClass(runtimeClass()); }

  TouchPhase phase() const { return phase_; }
  void setPhase(TouchPhase phase) { phase_ = phase; }
  // Seconds on the scheduler's clock at the touch's last change.
  double timestamp() const { return timestamp_; }
  void setTimestamp(double timestamp) { timestamp_ = timestamp; }

  std::shared_ptr<Window> window() const { return window_.lock(); }
  void setWindow(const std::shared_ptr<Window>& window) { window_ = window; }
  // The view first touched.
  std::shared_ptr<View> view() const { return view_.lock(); }
  void setView(const std::shared_ptr<View>& view) { view_ = view; }

  // `locationInView:`: the location in `view`'s own coordinates; a null view gives the window's.
  Point locationInView(const View* view) const;
  Point locationInWindow() const { return locationInWindow_; }
  void setLocationInWindow(Point location) { locationInWindow_ = location; }

  // The pressure of the finger; 1.0 is that of an average touch.
  double force() const { return force_; }
  void setForce(double force) { force_ = force; }
  // The greatest force the screen can report; 0 on a screen without force sensing.
  double maximumPossibleForce() const { return maximumPossibleForce_; }
  void setMaximumPossibleForce(double force) { maximumPossibleForce_ = force; }

  const std::optional<std::vector<std::shared_ptr<GestureRecognizer>>>& gestureRecognizers() const {
    return gestureRecognizers_;
  }
  void setGestureRecognizers(std::optional<std::vector<std::shared_ptr<GestureRecognizer>>> recognizers) {
    gestureRecognizers_ = std::move(recognizers);
  }

 private:
  TouchPhase phase_ = TouchPhase::began;
  double timestamp_ = 0;
  std::weak_ptr<Window> window_;
  std::weak_ptr<View> view_;
  Point locationInWindow_;
  double force_ = 0;
  double maximumPossibleForce_ = 0;
  std::optional<std::vector<std::shared_ptr<GestureRecognizer>>> gestureRecognizers_;
};

}  // namespace obx::platform
