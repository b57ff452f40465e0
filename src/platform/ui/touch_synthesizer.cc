#include "platform/ui/touch_synthesizer.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/touch.h"
#include "platform/ui/window.h"

namespace obx::platform {
namespace {

constexpr double kTapDuration = 0.1;
constexpr double kFrame = 1.0 / 60.0;
// Share of its speed the gliding content keeps from one frame to the next.
constexpr double kDecelerationRate = 0.85;

}  // namespace

TouchSynthesizer::TouchSynthesizer(std::shared_ptr<Application> application, Wait wait)
    : application_(std::move(application)), wait_(std::move(wait)) {}

void TouchSynthesizer::setForce(double force, double maximumPossibleForce) {
  force_ = force;
  maximumPossibleForce_ = maximumPossibleForce;
}

double TouchSynthesizer::now() const { return application_->scheduler()->clock().now(); }

std::shared_ptr<Touch> TouchSynthesizer::touchAt(Point location) const {
  auto window = application_->keyWindow();
  if (!window) return nullptr;
  auto touch = std::make_shared<Touch>();
  touch->setPhase(TouchPhase::began);
  touch->setTimestamp(now());
  touch->setWindow(window);
  touch->setLocationInWindow(location);
  touch->setForce(force_);
  touch->setMaximumPossibleForce(maximumPossibleForce_);
  // A window's bounds are its own coordinates.
  auto hit = window->hitTest(window->convertPointFromView(location, nullptr));
  touch->setView(hit);
  // Every view from the touched one up to the window offers its recognisers; the outermost first.
  std::vector<std::shared_ptr<View>> chain;
  for (auto view = hit; view; view = view->superview()) chain.push_back(view);
  std::vector<std::shared_ptr<GestureRecognizer>> recognizers;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    auto own = (*it)->gestureRecognizers();
    recognizers.insert(recognizers.end(), own.begin(), own.end());
  }
  touch->setGestureRecognizers(std::move(recognizers));
  return touch;
}

void TouchSynthesizer::send(const std::vector<std::shared_ptr<Touch>>& touches) const {
  auto event = std::make_shared<Event>(EventKind::touches, now());
  event->setAllTouches(touches);
  application_->sendEvent(*event);
}

void TouchSynthesizer::tap(Point location) {
  auto touch = touchAt(location);
  if (!touch) return;
  send({touch});
  if (wait_) wait_(kTapDuration);
  touch->setPhase(TouchPhase::ended);
  touch->setTimestamp(now());
  send({touch});
}

void TouchSynthesizer::drag(Point from, Point to, int steps, double duration) { move(from, to, steps, duration, false); }

void TouchSynthesizer::fling(Point from, Point to, int steps, double duration) { move(from, to, steps, duration, true); }

std::shared_ptr<ScrollView> TouchSynthesizer::enclosingScrollView(const std::shared_ptr<Touch>& touch) {
  for (auto view = touch->view(); view; view = view->superview()) {
    if (view->isKindOfClass(ScrollView::runtimeClass())) {
      auto scroll = std::static_pointer_cast<ScrollView>(view);
      if (scroll->isScrollEnabled()) return scroll;
    }
  }
  return nullptr;
}

Point TouchSynthesizer::clampedOffset(const ScrollView& view, Point offset) {
  const Size content = view.contentSize();
  const Size visible = view.bounds().size;
  return {std::clamp(offset.x, 0.0, std::max(0.0, content.width - visible.width)),
          std::clamp(offset.y, 0.0, std::max(0.0, content.height - visible.height))};
}

void TouchSynthesizer::move(Point from, Point to, int steps, double duration, bool flinging) {
  auto touch = touchAt(from);
  if (!touch) return;
  steps = std::max(steps, 1);
  auto scroll = enclosingScrollView(touch);
  send({touch});
  if (scroll) scroll->beginDragging();

  Point last = from;
  Point velocity;  // points of content per step, at the last move
  for (int step = 1; step <= steps; ++step) {
    if (wait_) wait_(duration / steps);
    const double share = static_cast<double>(step) / steps;
    Point location{from.x + (to.x - from.x) * share, from.y + (to.y - from.y) * share};
    touch->setPhase(TouchPhase::moved);
    touch->setTimestamp(now());
    touch->setLocationInWindow(location);
    send({touch});
    if (scroll) {
      // The content follows the finger: moving the finger up shows what is further down.
      velocity = {last.x - location.x, last.y - location.y};
      Point offset = scroll->contentOffset();
      scroll->setContentOffset(clampedOffset(*scroll, {offset.x + velocity.x, offset.y + velocity.y}));
    }
    last = location;
  }
  touch->setPhase(TouchPhase::ended);
  touch->setTimestamp(now());
  send({touch});
  if (!scroll) return;
  scroll->endDragging(flinging);
  if (!flinging) return;

  // Speed in points per frame, from the last move's points per step.
  const double perFrame = (duration / steps) > 0 ? kFrame / (duration / steps) : 1.0;
  velocity = {velocity.x * perFrame, velocity.y * perFrame};
  while (std::hypot(velocity.x, velocity.y) >= 0.5) {
    if (wait_) wait_(kFrame);
    Point offset = scroll->contentOffset();
    Point next = clampedOffset(*scroll, {offset.x + velocity.x, offset.y + velocity.y});
    if (next == offset) break;  // the content's edge stops it
    scroll->setContentOffset(next);
    velocity = {velocity.x * kDecelerationRate, velocity.y * kDecelerationRate};
  }
  scroll->endDecelerating();
}

}  // namespace obx::platform
