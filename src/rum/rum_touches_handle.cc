#include "rum/rum_touches_handle.h"

#include <any>
#include <atomic>

#include "base/logger.h"
#include "platform/ui/application.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/window.h"

namespace obx {
namespace {

// The key of the OBXScrollViewID kept on each scroll view, and the next free identifier: both live
// as long as the process, as the views' identifiers do.
const char kScrollIdentifierKey = 0;
std::atomic<std::int64_t> gScrollID{0};

bool isScrollView(const platform::View& view) { return view.isKindOfClass(platform::ScrollView::runtimeClass()); }

void storeScrollViewID(platform::View& view, const OBXScrollViewID& identifier) {
  platform::setAssociatedObject(view, &kScrollIdentifierKey, identifier, platform::AssociationPolicy::retainNonatomic);
}

}  // namespace

RUMTouchesHandle::RUMTouchesHandle(std::shared_ptr<TouchesNotifier> notifier) : state_(std::make_shared<State>()) {
  state_->notifier = std::move(notifier);
}

RUMTouchesHandle::~RUMTouchesHandle() { unswizzleAll(); }

void RUMTouchesHandle::start() {
  std::weak_ptr<State> weak = state_;
  const bool installed = swizzle(platform::Application::runtimeClass(), platform::selectors::sendEvent,
                                 [weak](Function original) {
                                   return [weak, original](platform::Object& application, const platform::Event& event) {
                                     if (auto state = weak.lock()) {
                                       try {
                                         state->eventSent(application, event);
                                       } catch (...) {
                                         // Whatever the capture met, the application gets its event.
                                       }
                                     }
                                     original(application, event);
                                   };
                                 });
  if (!installed) {
    Logger::log(std::string(kSwizzleErrorMessage) + "no replaceable method \"" + platform::selectors::sendEvent +
                    "\" on Application",
                LogLevel::developer);
  }
}

std::optional<OBXScrollViewID> RUMTouchesHandle::scrollViewID(const platform::View& view) {
  return view.associatedValue<OBXScrollViewID>(&kScrollIdentifierKey);
}

std::int64_t RUMTouchesHandle::nextScrollID() { return gScrollID.load(); }

void RUMTouchesHandle::State::eventSent(platform::Object& application, const platform::Event& event) {
  const auto& allTouches = event.allTouches();
  if (!allTouches) return;
  // The stand-in is installed on the application class: the receiver is an Application.
  auto keyWindow = static_cast<platform::Application&>(application).keyWindow();
  std::vector<Wrapper> list;
  list.reserve(allTouches->size());
  for (const auto& touch : *allTouches) {
    if (!touch) continue;
    if (auto wrapper = wrap(*touch, keyWindow)) list.push_back(std::move(*wrapper));
  }
  touches.set(list);
  notifier->notify(std::move(list));
}

std::optional<RUMTouchesHandle::Wrapper> RUMTouchesHandle::State::wrap(
    const platform::Touch& touch, const std::shared_ptr<platform::Window>& keyWindow) {
  EventType type;
  switch (touch.phase()) {
    case platform::TouchPhase::began: type = EventType::touchBegan; break;
    case platform::TouchPhase::moved: type = EventType::touchMoved; break;
    case platform::TouchPhase::ended: type = EventType::touchEnded; break;
    default: return std::nullopt;
  }
  const double timestamp = touch.timestamp();
  if (type == EventType::touchMoved && lastTouchTimestamp) {
    const std::int64_t elapsed =
        static_cast<std::int64_t>(timestamp * 1000) - static_cast<std::int64_t>(*lastTouchTimestamp * 1000);
    if (elapsed <= timeDifferenceBetweenTouches) return std::nullopt;
  }
  lastTouchTimestamp = timestamp;

  Wrapper wrapper;
  wrapper.type = type;
  const platform::Point location = touch.locationInView(keyWindow.get());
  wrapper.touch.x = static_cast<std::int64_t>(location.x);
  wrapper.touch.y = static_cast<std::int64_t>(location.y);
  if (touch.maximumPossibleForce() > 0) {
    // The quotient is truncated first: only a touch at full force reads 1000.
    wrapper.touch.force = static_cast<std::int64_t>(touch.force() / touch.maximumPossibleForce()) * 1000;
  }
  if (auto offset = scrollOffset(touch, keyWindow)) {
    wrapper.touch.oX = offset->x;
    wrapper.touch.oY = offset->y;
    wrapper.touch.scrollID = offset->sID;
    if (offset->pID != emptyScrollID) wrapper.touch.parentScrollID = offset->pID;
  }
  return wrapper;
}

std::optional<ScrollOffset> RUMTouchesHandle::State::scrollOffset(const platform::Touch& touch,
                                                                  const std::shared_ptr<platform::Window>& keyWindow) {
  const auto& recognizers = touch.gestureRecognizers();
  if (!recognizers) return offsetFromHitList(touch, keyWindow);
  if (recognizers->empty()) return std::nullopt;

  std::optional<ScrollOffset> result;
  std::int64_t lastSeen = emptyScrollID;
  int scrollViews = 0;
  for (const auto& recognizer : *recognizers) {
    auto view = recognizer ? recognizer->view() : nullptr;
    if (!view || !isScrollView(*view) || scrollViews > 1) continue;
    // A second recogniser of the same scroll view (pan and pinch) counts once.
    if (auto known = RUMTouchesHandle::scrollViewID(*view); known && known->sID && *known->sID == lastSeen) continue;
    OBXScrollViewID identifier = identify(*view);
    const platform::Point offset = static_cast<const platform::ScrollView&>(*view).contentOffset();
    result = ScrollOffset{static_cast<std::int64_t>(offset.x), static_cast<std::int64_t>(offset.y), identifier.sID,
                          identifier.pID};
    lastSeen = identifier.sID.value_or(gScrollID.load());
    ++scrollViews;
  }
  return result;
}

std::optional<ScrollOffset> RUMTouchesHandle::State::offsetFromHitList(
    const platform::Touch& touch, const std::shared_ptr<platform::Window>& keyWindow) {
  if (!keyWindow) return std::nullopt;
  const platform::Point location = touch.locationInView(keyWindow.get());
  std::shared_ptr<platform::View> last;
  std::vector<std::shared_ptr<platform::View>> stack{keyWindow};
  while (!stack.empty()) {
    auto view = std::move(stack.back());
    stack.pop_back();
    if (isScrollView(*view) && view->bounds().contains(view->convertPointFromView(location, nullptr))) last = view;
    for (const auto& subview : view->subviews()) stack.push_back(subview);
  }
  if (!last) return std::nullopt;
  OBXScrollViewID identifier = identify(*last);
  const platform::Point offset = static_cast<const platform::ScrollView&>(*last).contentOffset();
  return ScrollOffset{static_cast<std::int64_t>(offset.x), static_cast<std::int64_t>(offset.y), identifier.sID,
                      identifier.pID};
}

OBXScrollViewID RUMTouchesHandle::State::identify(platform::View& view) {
  OBXScrollViewID identifier = RUMTouchesHandle::scrollViewID(view).value_or(OBXScrollViewID{});
  if (!identifier.sID) assignScrollID(view, identifier);
  if (!identifier.pID) {
    identifier.pID = parentScrollID(view);
    storeScrollViewID(view, identifier);
  }
  return identifier;
}

std::int64_t RUMTouchesHandle::State::assignScrollID(platform::View& view, OBXScrollViewID& identifier) {
  identifier = OBXScrollViewID{gScrollID.fetch_add(1), std::nullopt};
  storeScrollViewID(view, identifier);
  return *identifier.sID;
}

std::int64_t RUMTouchesHandle::State::parentScrollID(const platform::View& view) {
  for (auto parent = view.superview(); parent; parent = parent->superview()) {
    if (!isScrollView(*parent)) continue;
    OBXScrollViewID identifier = RUMTouchesHandle::scrollViewID(*parent).value_or(OBXScrollViewID{});
    if (identifier.sID) return *identifier.sID;
    return assignScrollID(*parent, identifier);
  }
  return emptyScrollID;
}

}  // namespace obx
