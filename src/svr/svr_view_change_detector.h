// SVRViewChangeDetector: tells the tracking loop that a view was laid out again, at most once per
// frame of the replay rate. It replaces "layoutSublayersOfLayer:" on the platform's view class, which
// runs on every layout of every view; the replacement lets one notification through when its gate is
// open and shuts it, then calls the original. Its own display link opens the gate at the rate of
// `videoQualityType`, read once at `start`. So a screen where nothing is laid out costs nothing, and
// any number of layouts between two ticks cost one Boolean test each and give one notification.
//
// The replacement and the link run on the main queue; observers hear on their own queues. The
// destructor invalidates the link and puts the original implementation back. Made with `make`.
#pragma once

#include <atomic>
#include <memory>

#include "base/notifier.h"
#include "lifecycle/swizzler.h"
#include "platform/dispatch/display_link.h"
#include "platform/dispatch/scheduler.h"
#include "platform/ui/view.h"
#include "svr/svr_configuration.h"
#include "svr/svr_view_change_detector_observing.h"

namespace obx {

class SVRViewChangeDetector : public Swizzler<platform::LayoutSublayersSignature>,
                              public SVRViewChangeDetectorObserving,
                              public std::enable_shared_from_this<SVRViewChangeDetector> {
 public:
  static std::shared_ptr<SVRViewChangeDetector> make(std::shared_ptr<SVRConfiguration> configuration,
                                                     std::shared_ptr<platform::Scheduler> scheduler);
  ~SVRViewChangeDetector() override;

  // Starts the gate's display link; a link that exists is left alone.
  void start();
  // Replaces "layoutSublayersOfLayer:" on the view class, unless this detector has already. False
  // when the method could not be replaced; replay then runs on its clock alone.
  bool swizzleLayoutSublayersOfLayer();
  // The link's tick: opens the gate.
  void checkWhenIsOpenToNotify();

  void add(std::shared_ptr<LayerChangeObserverValue> observer) override { notifier_.observe(std::move(observer)); }
  void remove(const std::shared_ptr<LayerChangeObserverValue>& observer) override { notifier_.remove(observer); }

  bool openToNotify() const { return openToNotify_.load(); }
  // Frames per second of the gate's link; 0 before start.
  double framesPerSecond() const;

 private:
  SVRViewChangeDetector(std::shared_ptr<SVRConfiguration> configuration,
                        std::shared_ptr<platform::Scheduler> scheduler);
  // The replacement's own work, before the original runs.
  void layoutHappened();

  std::shared_ptr<SVRConfiguration> configuration_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  Notifier<LayerChange> notifier_;
  std::shared_ptr<platform::DisplayLink> displayLink_;
  // Main queue only; atomic so that a reader elsewhere (a test, a log) sees a whole value.
  std::atomic<bool> openToNotify_{false};
};

}  // namespace obx
