// TouchSynthesizer: scripted fingers for a host application or a test. Taps, drags and flings on
// the key window reach the application as the system delivers them, one event per step through
// `sendEvent:`, and a scroll view under a dragging finger moves its content with it: dragging while
// the finger is down, decelerating after a fling. Between two steps of a gesture `wait(seconds)`
// lets time pass: the host's main loop in an application, the manual scheduler's advance in a test;
// a null `wait` runs each gesture at once. Timestamps come from the application's scheduler clock. Main queue only.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/ui/geometry.h"

namespace obx::platform {

class Application;
class ScrollView;
class Touch;

class TouchSynthesizer {
 public:
  using Wait = std::function<void(double seconds)>;

  TouchSynthesizer(std::shared_ptr<Application> application, Wait wait);

  // Every touch made from now on reports this pressure against this greatest possible one; the
  // default, 0 of 0, is a screen without force sensing.
  void setForce(double force, double maximumPossibleForce);

  // A finger lands at `location` (in the key window) and lifts 0.1 seconds later.
  void tap(Point location);
  // A finger lands at `from`, moves to `to` in `steps` even moves over `duration` seconds, and
  // lifts. The innermost scroll view under it drags its content along with the finger, within the
  // content's size, and stops with the finger.
  void drag(Point from, Point to, int steps, double duration);
  // As `drag`, but the finger leaves while moving: the content glides on in the direction of the
  // last move, a frame at a time, slowing down until it stops.
  void fling(Point from, Point to, int steps, double duration);

  // Building blocks for scripts of their own. A touch in the phase `began` at `location`, on the
  // view the key window's hit test finds there, with the recognisers of that view and those above
  // it; null without a key window.
  std::shared_ptr<Touch> touchAt(Point location) const;
  // One touch event with `touches` as they are now, sent to the application.
  void send(const std::vector<std::shared_ptr<Touch>>& touches) const;

 private:
  void move(Point from, Point to, int steps, double duration, bool flinging);
  double now() const;
  static std::shared_ptr<ScrollView> enclosingScrollView(const std::shared_ptr<Touch>& touch);
  static Point clampedOffset(const ScrollView& view, Point offset);

  std::shared_ptr<Application> application_;
  Wait wait_;
  double force_ = 0;
  double maximumPossibleForce_ = 0;
};

}  // namespace obx::platform
