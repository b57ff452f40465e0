#include "platform/dispatch/display_link.h"

#include <algorithm>

namespace obx::platform {

std::shared_ptr<DisplayLink> DisplayLink::make(std::shared_ptr<DispatchQueue> mainQueue, double framesPerSecond,
                                               std::function<void(Date)> tick) {
  return std::make_shared<DisplayLink>(std::move(mainQueue), framesPerSecond, std::move(tick));
}

DisplayLink::DisplayLink(std::shared_ptr<DispatchQueue> mainQueue, double framesPerSecond,
                         std::function<void(Date)> tick)
    : mainQueue_(std::move(mainQueue)), framesPerSecond_(std::max(framesPerSecond, 0.001)), tick_(std::move(tick)) {}

DisplayLink::~DisplayLink() { invalidate(); }

void DisplayLink::start() {
  if (running_.exchange(true)) return;
  unsigned generation = ++generation_;
  scheduleNext(generation, 1, mainQueue_->now());
}

void DisplayLink::invalidate() {
  running_.store(false);
  ++generation_;
}

void DisplayLink::scheduleNext(unsigned generation, long frame, Date origin) {
  const double interval = 1.0 / framesPerSecond_;
  Date due = origin + static_cast<double>(frame) * interval;
  double delay = std::max(0.0, due - mainQueue_->now());
  std::weak_ptr<DisplayLink> weak = weak_from_this();
  mainQueue_->asyncAfter(delay, [weak, generation, frame, origin] {
    auto self = weak.lock();
    if (!self || self->generation_.load() != generation) return;
    Date now = self->mainQueue_->now();
    self->tick_(now);
    if (self->generation_.load() != generation) return;
    // Skip frames that were missed while the tick ran long.
    long next = frame + 1;
    const double interval = 1.0 / self->framesPerSecond_;
    while (origin + static_cast<double>(next) * interval <= now) ++next;
    self->scheduleNext(generation, next, origin);
  });
}

}  // namespace obx::platform
