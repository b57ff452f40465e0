#include "rum/rum_scroll_handle.h"

#include <cstdlib>
#include <deque>
#include <utility>

#include "platform/ui/application.h"
#include "platform/ui/window.h"

namespace obx {
namespace {

// Both pieces of a key, decimal; a piece that doesn't read whole gives the fallback.
std::int64_t readInteger(const std::string& text) {
  if (text.empty()) return 0;
  char* end = nullptr;
  long long value = std::strtoll(text.c_str(), &end, 10);
  return (end && *end == '\0') ? static_cast<std::int64_t>(value) : 0;
}

float readFloat(const std::string& text) {
  if (text.empty()) return 0.0f;
  char* end = nullptr;
  float value = std::strtof(text.c_str(), &end);
  return (end && *end == '\0') ? value : 0.0f;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  for (std::size_t at = text.find(separator); at != std::string::npos; at = text.find(separator, begin)) {
    pieces.push_back(text.substr(begin, at - begin));
    begin = at + 1;
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

}  // namespace

RUMScrollHandle::RUMScrollHandle(std::shared_ptr<RRUMUIScrollContentOffsetSwizzlerObserving> contentOffsetObserving,
                                 std::shared_ptr<platform::Scheduler> scheduler)
    : contentOffsetObserving_(std::move(contentOffsetObserving)),
      scheduler_(std::move(scheduler)) {}

RUMScrollHandle::~RUMScrollHandle() { stop(); }

std::shared_ptr<ScrollViewObserverValue> RUMScrollHandle::contentOffsetScrollObserving() {
  std::lock_guard lock(mutex_);
  if (!observer_) {
    std::weak_ptr<RUMScrollHandle> weak = weak_from_this();
    observer_ = ScrollViewObserverValue::make(
        scheduler_->mainQueue(),
        [weak](const std::weak_ptr<platform::ScrollView>& view, const std::weak_ptr<platform::ScrollView>&) {
          if (auto self = weak.lock()) self->contentOffsetChanged(view);
        });
  }
  return observer_;
}

void RUMScrollHandle::start() {
  if (contentOffsetObserving_) contentOffsetObserving_->add(contentOffsetScrollObserving());
  scrollsDictionary_.set({});
  scrollCollection_.set({});
  {
    // A drag of the last screen never ends on this one.
    std::lock_guard lock(mutex_);
    scroll_.reset();
    isDragging_ = false;
    ++drag_;
  }
  auto window = platform::Application::shared()->keyWindow();
  if (!window) return;
  // Read at each screen, not once: a toolkit adapter makes the screen its key window's size after
  // the SDK started.
  const platform::Rect screenFrame = platform::Application::shared()->mainScreen()->bounds();

  std::shared_ptr<platform::ScrollView> found;
  std::deque<std::shared_ptr<platform::View>> queue{window};
  while (!queue.empty() && !found) {
    auto view = std::move(queue.front());
    queue.pop_front();
    if (view->isKindOfClass(platform::ScrollView::runtimeClass())) {
      const platform::Size size = view->frame().size;
      if (size.width > 0.8 * screenFrame.size.width && size.height > 0.5 * screenFrame.size.height) {
        found = std::static_pointer_cast<platform::ScrollView>(view);
        break;
      }
    }
    for (const auto& subview : view->subviews()) queue.push_back(subview);
  }
  if (!found) return;
  ScrollData position = positionOf(found.get());
  std::lock_guard lock(mutex_);
  currentScrollView_ = found;
  scroll_ = position;
}

void RUMScrollHandle::contentOffsetChanged(const std::weak_ptr<platform::ScrollView>& changed) {
  auto view = changed.lock();
  std::shared_ptr<platform::ScrollView> current;
  bool dragging = false;
  {
    std::lock_guard lock(mutex_);
    current = currentScrollView_.lock();
    dragging = isDragging_;
  }
  if (!view) {
    if (!current && dragging) {
      ScrollData position = positionOf(nullptr);
      std::lock_guard lock(mutex_);
      scroll_ = position;
      isDragging_ = false;
    }
    return;
  }
  if (!current || current != view) return;
  const bool viewDragging = view->isDragging();
  if (!dragging) {
    if (!viewDragging) return;
    std::optional<ScrollData> closed;
    unsigned drag = 0;
    {
      // The position is closed here once: while the finger drags, none is held.
      std::lock_guard lock(mutex_);
      isDragging_ = true;
      closed = std::exchange(scroll_, std::nullopt);
      drag = ++drag_;
    }
    closePosition(closed);
    scheduleDragCheck(drag);
    return;
  }
  if (viewDragging) return;
  ScrollData position = positionOf(view.get());
  std::lock_guard lock(mutex_);
  scroll_ = position;
  isDragging_ = false;
}

void RUMScrollHandle::scheduleDragCheck(unsigned drag) {
  std::weak_ptr<RUMScrollHandle> weak = weak_from_this();
  scheduler_->mainQueue()->asyncAfter(kDragEndCheck, [weak, drag] {
    if (auto self = weak.lock()) self->checkDragEnded(drag);
  });
}

void RUMScrollHandle::checkDragEnded(unsigned drag) {
  std::shared_ptr<platform::ScrollView> view;
  {
    std::lock_guard lock(mutex_);
    if (!isDragging_ || drag_ != drag) return;
    view = currentScrollView_.lock();
  }
  if (view && view->isDragging()) {
    scheduleDragCheck(drag);
    return;
  }
  ScrollData position = positionOf(view.get());
  std::lock_guard lock(mutex_);
  if (!isDragging_ || drag_ != drag) return;
  scroll_ = position;
  isDragging_ = false;
}

void RUMScrollHandle::closePosition(const std::optional<ScrollData>& position) {
  if (!position) return;
  const std::int64_t elapsed = static_cast<std::int64_t>((now() - position->time) * 1000);
  const std::string key = std::to_string(position->offsetY) + "," + std::to_string(position->height);
  scrollsDictionary_.mutate([&](std::map<std::string, std::int64_t>& map) { map[key] += elapsed; });
}

std::vector<Scroll> RUMScrollHandle::finish() {
  stop();
  std::optional<ScrollData> position;
  {
    // Closed once, and no drag goes on: the crash path may end the screen again before the next
    // one starts.
    std::lock_guard lock(mutex_);
    position = std::exchange(scroll_, std::nullopt);
    isDragging_ = false;
    ++drag_;
  }
  closePosition(position);
  auto entries = scrollsDictionary_.mutate([](auto& map) { return std::exchange(map, {}); });
  if (entries.empty()) return {};
  return scrollCollection_.mutate([&](std::vector<Scroll>& list) {
    for (const auto& [key, focusTime] : entries) {
      std::vector<std::string> pieces = split(key, ',');
      if (pieces.empty()) continue;
      list.push_back(Scroll{readInteger(pieces.back()), focusTime, readFloat(pieces.front())});
    }
    return std::exchange(list, {});
  });
}

void RUMScrollHandle::stop() {
  std::shared_ptr<ScrollViewObserverValue> observer;
  {
    std::lock_guard lock(mutex_);
    observer = observer_;
  }
  if (contentOffsetObserving_ && observer) contentOffsetObserving_->remove(observer);
}

std::shared_ptr<platform::ScrollView> RUMScrollHandle::currentScrollView() const {
  std::lock_guard lock(mutex_);
  return currentScrollView_.lock();
}

ScrollData RUMScrollHandle::positionOf(const platform::ScrollView* view) const {
  if (!view) return ScrollData{0, 0, now()};
  return ScrollData{static_cast<std::int64_t>(view->frame().size.height),
                    static_cast<std::int64_t>(view->contentOffset().y), now()};
}

double RUMScrollHandle::now() const { return scheduler_->clock().now(); }

}  // namespace obx
