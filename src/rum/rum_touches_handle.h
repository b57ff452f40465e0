// RUMTouchesHandle: sees every touch of the application by replacing the application's
// "sendEvent:", turns the touches of each event into `Touch` records and publishes them as one list
// of wrappers per event (empty when none of them is reported). Moves are thinned to one per more
// than 200 milliseconds across all fingers; cancelled and stationary touches are dropped. A touch
// that moves a scroll view carries its content offset and the identifiers kept on each scroll view
// for its life. The identifiers are drawn from one process-wide counter, like the key they are kept
// under, so a handle built again (the feature rebuilt after a configuration change) never hands out
// a number a view already carries.
//
// Threads: the stand-in runs on the thread that sends the event, the main thread; the thinning
// state and the scroll identifiers belong to it. The previous "sendEvent:" is always called.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/notifier.h"
#include "base/read_write_lock.h"
#include "lifecycle/swizzler.h"
#include "platform/ui/application.h"
#include "platform/ui/event.h"
#include "rum/rum_touches_observing.h"
#include "rum/scroll_view_identifiers.h"

namespace obx::platform {
class View;
class Window;
}  // namespace obx::platform

namespace obx {

class RUMTouchesHandle final : public Swizzler<platform::SendEventSignature>, public RUMTouchesObserving {
 public:
  using Wrapper = RUMTouchWrapper;
  using TouchesNotifier = Notifier<std::vector<Wrapper>>;
  static constexpr const char* kSwizzleErrorMessage = "RUM Touches Handle swizzle error ";
  static constexpr std::int64_t kTimeDifferenceBetweenTouches = 200;

  explicit RUMTouchesHandle(std::shared_ptr<TouchesNotifier> notifier);
  ~RUMTouchesHandle() override;

  // Replaces "sendEvent:" of the application class; logs a failure.
  void start() override;
  void add(std::shared_ptr<TouchesObserverValue> observer) override { state_->notifier->observe(std::move(observer)); }
  void remove(const std::shared_ptr<TouchesObserverValue>& observer) override { state_->notifier->remove(observer); }

  // The list published last.
  std::vector<Wrapper> touches() const { return state_->touches.get(); }
  // The identifiers kept on `view`; absent for a view no touch has met.
  static std::optional<OBXScrollViewID> scrollViewID(const platform::View& view);
  // The identifier the next scroll view met will get.
  static std::int64_t nextScrollID();

 private:
  // What the stand-in works with; shared so that an event in flight on the main thread never
  // touches freed memory while the handle goes away elsewhere.
  struct State {
    std::shared_ptr<TouchesNotifier> notifier;
    ReadWriteLock<std::vector<Wrapper>> touches;
    // Main thread only, below.
    const std::int64_t emptyScrollID = -1;
    std::optional<double> lastTouchTimestamp;
    const std::int64_t timeDifferenceBetweenTouches = kTimeDifferenceBetweenTouches;

    void eventSent(platform::Object& application, const platform::Event& event);
    std::optional<Wrapper> wrap(const platform::Touch& touch, const std::shared_ptr<platform::Window>& keyWindow);
    std::optional<ScrollOffset> scrollOffset(const platform::Touch& touch,
                                             const std::shared_ptr<platform::Window>& keyWindow);
    std::optional<ScrollOffset> offsetFromHitList(const platform::Touch& touch,
                                                  const std::shared_ptr<platform::Window>& keyWindow);
    // Gives `view` an identifier and a parent if it lacks them, and returns them.
    OBXScrollViewID identify(platform::View& view);
    std::int64_t parentScrollID(const platform::View& view);
    std::int64_t assignScrollID(platform::View& view, OBXScrollViewID& identifier);
  };

  std::shared_ptr<State> state_;
};

}  // namespace obx
