// RUMScrollHandle: how long each scroll position of a screen's main scroll view stayed in view. At
// the start of a screen it takes the first large scroll view of the key window (breadth first: more
// than 0.8 of the screen's width and more than 0.5 of its height) and the position it shows. A drag
// closes the position, adding the milliseconds since it was taken to its entry; the first offset
// change after the finger left takes the new position, so time spent dragging or gliding counts for
// none. A drag that ends without a later change (the finger stops, then lifts) is found by a check
// of the view every kDragEndCheck seconds while a drag lasts. At the end of the screen the last
// position is closed and the entries become `Scroll` records, one per position
// ("<offsetY>,<height>"), a return to a position adding to its entry; the records are handed over
// once, so a later end without a new screen (the crash path) hands over nothing again.
//
// Threads: `start`, the offset observer and the drag check run on the main queue, `takeScrolls` on
// the core's queue. The position state is behind a mutex, never held while reading a view.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/read_write_lock.h"
#include "platform/dispatch/scheduler.h"
#include "platform/ui/geometry.h"
#include "rum/rum_scroll_handling.h"
#include "rum/rum_ui_scroll_content_offset_swizzler.h"
#include "rum/scroll_data.h"

namespace obx {

class RUMScrollHandle final : public RUMScrollHandling, public std::enable_shared_from_this<RUMScrollHandle> {
 public:
  static constexpr double kDragEndCheck = 0.1;

  // Dates come from `scheduler`'s clock; the main screen's bounds are read at each `start`.
  RUMScrollHandle(std::shared_ptr<RRUMUIScrollContentOffsetSwizzlerObserving> contentOffsetObserving,
                  std::shared_ptr<platform::Scheduler> scheduler);
  ~RUMScrollHandle() override;

  // A new screen, on the main queue.
  void start() override;
  // The end of the screen: the `Scroll` list, empty when nothing was measured.
  std::vector<Scroll> finish();
  std::vector<Scroll> takeScrolls() override { return finish(); }
  void stop() override;

  // The screen's main scroll view, while it lives.
  std::shared_ptr<platform::ScrollView> currentScrollView() const;

 private:
  std::shared_ptr<ScrollViewObserverValue> contentOffsetScrollObserving();
  void contentOffsetChanged(const std::weak_ptr<platform::ScrollView>& changed);
  void closePosition(const std::optional<ScrollData>& position);
  // Takes the position the drag left, if the finger has lifted; else looks again later.
  void checkDragEnded(unsigned drag);
  void scheduleDragCheck(unsigned drag);
  ScrollData positionOf(const platform::ScrollView* view) const;
  double now() const;

  std::shared_ptr<RRUMUIScrollContentOffsetSwizzlerObserving> contentOffsetObserving_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  ReadWriteLock<std::map<std::string, std::int64_t>> scrollsDictionary_;
  ReadWriteLock<std::vector<Scroll>> scrollCollection_;
  mutable std::mutex mutex_;  // guards the four below
  std::optional<ScrollData> scroll_;
  bool isDragging_ = false;
  unsigned drag_ = 0;  // counts drags and screen starts: a check of an older one does nothing
  std::weak_ptr<platform::ScrollView> currentScrollView_;
  std::shared_ptr<ScrollViewObserverValue> observer_;
};

}  // namespace obx
