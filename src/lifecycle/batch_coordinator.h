// BatchCoordinator: cuts each screen into batches of `batchTime` seconds, the unit under which
// features write to disk. A new screen opens a batch at once and restarts the cycle; each tick opens
// the next batch of the current screen; the background stops the cycle until the next screen. All
// state changes run on "obx.ombrix.common.BatchController"; start() and stop() may come from any
// queue and touch only the work item and the batch value. Each of start, stop, a screen change and
// a tick runs whole under one lock (its calls only cancel, queue or publish, which queues), so that a
// stop never falls between the cancel and the reschedule of another: no cycle outlives a stop, and
// at most one cycle runs.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/notifier.h"
#include "config/sdk_configuration.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class BatchCoordinator : public BatchCoordinatorObserving, public std::enable_shared_from_this<BatchCoordinator> {
 public:
  // Subscribes to screens and application state. `notifier` starts absent.
  static std::shared_ptr<BatchCoordinator> make(std::shared_ptr<platform::Scheduler> scheduler,
                                                std::shared_ptr<ScreenDetectionObserving> screenDetector,
                                                std::shared_ptr<SDKConfiguration> configuration,
                                                std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
                                                std::shared_ptr<Notifier<std::optional<BatchContext>>> notifier);
  BatchCoordinator(std::shared_ptr<platform::Scheduler> scheduler,
                   std::shared_ptr<ScreenDetectionObserving> screenDetector,
                   std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
                   std::shared_ptr<Notifier<std::optional<BatchContext>>> notifier);
  // Stops and removes both observers.
  ~BatchCoordinator() override;

  void add(std::shared_ptr<BatchObserverValue> observer) override { notifier_->observe(std::move(observer)); }
  void remove(const std::shared_ptr<BatchObserverValue>& observer) override { notifier_->remove(observer); }
  std::optional<BatchContext> batchContext() const override;

  // Starts the cycle after `delay` seconds unless a cycle exists already; repeated calls are harmless.
  void start(double delay);
  // Cancels the cycle and publishes absent.
  void stop();

 private:
  void subscribe();
  void onScreenChanged(const std::optional<ViewContext>& context);
  void onAppState(AppStateCycle state);
  // Both with mutex_ held.
  void newBatch(const std::optional<ViewContext>& context);
  std::shared_ptr<platform::DispatchWorkItem> makeWorkItem();
  // A tick of `work`, which does nothing once `work` is no longer the coordinator's cycle.
  void cycle(const std::shared_ptr<platform::DispatchWorkItem>& work);
  double batchTime() const;

  std::shared_ptr<platform::DispatchQueue> batchQueue_;
  std::shared_ptr<ScreenDetectionObserving> screenDetector_;
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<AppLifeCycleObserving> appLifeCycle_;
  std::shared_ptr<Notifier<std::optional<BatchContext>>> notifier_;

  mutable std::mutex mutex_;  // guards the work item and the batch value, held through each operation
  std::shared_ptr<platform::DispatchWorkItem> batchCyclerWork_;
  std::optional<BatchContext> batchContext_;

  std::shared_ptr<ScreenObserverValue> screenDetectedObserver_;
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateCycleObserver_;
};

}  // namespace obx
