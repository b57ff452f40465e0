// RUMCore: turns batches, application states, touches, device measures and the application's
// tracked events into the events of the current screen, in their order: at a new screen "session",
// "batch", "screen", "aM", "idle" after a return, then the queued tracked events; at each further
// batch "bE" closes the old batch and "session" and "batch" open the new one; at the end of a
// screen "samplingStatus", "scroll", the form events, "aE", "weightedSampling" if weighted, "bE".
//
// Threads: every observer runs on "obx.ombrix.feature.RUM" (rumQueue) and owns the fields there;
// the screen start runs on the main queue (it reads the toolkit) while rumQueue waits for it, so
// no code holding the main queue may wait for rumQueue. `applicationWillCrash` comes on the
// crashing thread and writes there. The tracked events waiting for a screen are behind a lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/observer_value.h"
#include "base/published_snapshot.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "lifecycle/app_state_cycle.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/device_measure.h"
#include "obx/delegate.h"
#include "platform/dispatch/dispatch_queue.h"
#include "rum/rum_configuration.h"
#include "rum/rum_dependencies.h"
#include "rum/rum_form_handling.h"
#include "rum/rum_sampling_handle.h"
#include "rum/rum_screen_handle.h"
#include "rum/rum_scroll_handling.h"
#include "rum/rum_touch_wrapper.h"
#include "rum/rum_touches_observing.h"
#include "rum/rum_ui_scroll_content_offset_swizzler.h"
#include "rum/rum_web_view_sampling.h"
#include "session/crash_coordinator_delegate.h"
#include "session/rum_placeholder_providing.h"
#include "session/session_context.h"
#include "store/events/tracked_event.h"

namespace obx {

class DataController;

// Thrown by RUMCore::make when a service it cannot run without is missing.
struct RUMCoreError : std::runtime_error {
  explicit RUMCoreError(const std::string& description) : std::runtime_error(description) {}
  std::string description() const { return what(); }
};

// The capture handles that join the core. A null handle is built by the core on the platform
// (RUMScrollHandle over its own RUMUIScrollContentOffsetSwizzler, RUMFormHandle on the shared
// application's notification centre, RUMTouchesHandle).
struct RUMHandles {
  std::shared_ptr<RUMScrollHandling> scrollHandle;
  std::shared_ptr<RUMFormHandling> formHandle;
  std::shared_ptr<RUMTouchesObserving> touchesHandle;
};

class RUMCore final : public CrashCoordinatorDelegate, public std::enable_shared_from_this<RUMCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.RUM";
  static constexpr const char* kMainQueueLabel = "obx.ombrix.feature.RUM-main";

  // Builds the core and subscribes it to its producers, handing it the values they already hold.
  // Throws RUMCoreError without a configuration or a DataController.
  static std::shared_ptr<RUMCore> make(RUMDependencies dependencies, std::shared_ptr<DataController> dataController,
                                       std::shared_ptr<platform::Scheduler> scheduler, RUMHandles handles = {});
  ~RUMCore() override;
  RUMCore(const RUMCore&) = delete;
  RUMCore& operator=(const RUMCore&) = delete;

  // CrashCoordinatorDelegate: the crash path, once.
  void crashed(const Crash& crash) override;
  void applicationWillCrash();

  // Stored only for a multiplatform host, when none is stored yet.
  void setDelegateIfAbsent(std::shared_ptr<OBXDelegate> delegate);
  std::shared_ptr<OBXDelegate> delegate() const { return delegate_.get(); }

  const std::shared_ptr<platform::DispatchQueue>& rumQueue() const { return rumQueue_; }
  RUMScreenHandle& screenHandle() { return *screenHandle_; }
  // Reports this session's sampling in "samplingStatus" and "weightedSampling"; follows the
  // configuration on rumQueue.
  const RUMSamplingHandle& samplingHandle() const { return *samplingHandle_; }
  // The process-wide count of tracked screens; it survives a second core in the same process.
  static std::int64_t screenCounter();

 private:
  struct Token {};

 public:
  RUMCore(Token, RUMDependencies dependencies, std::shared_ptr<DataController> dataController,
          std::shared_ptr<platform::Scheduler> scheduler, RUMHandles handles);

 private:
  void start();

  // Observers, on rumQueue.
  void batchDetected(const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous);
  void appStateChanged(AppStateCycle state);
  void performanceMeasured(const std::optional<DeviceMeasure>& measure);
  void connectivityChanged(const std::optional<ReachabilityConnection>& connection);
  void trackedEventArrived(const std::optional<TrackedEvent>& event);
  // The touch capture's report: split by event and written as "tB", "tM", "tE".
  void touchesDetected(const std::vector<RUMTouchWrapper>& touches);

  // Screen steps.
  bool writeBatchEvent();
  void screenStart(const ViewContext& viewContext);
  void writeScreenEndEvents();
  void flushTrackedEvents();
  void placeholderStep();
  void savePlaceholderImage(const std::string& data, const BatchContext& batch);

  // Writes need a batch and a tracked screen; the crash writes need only a batch. `force` lets the
  // placeholder events through on a discarded screen.
  template <typename T>
  void writeEvent(EventType type, const T& payload, const std::optional<BatchContext>& batch, bool force = false);
  template <typename T>
  void writeCrashEvent(EventType type, const T& payload, const BatchContext& batch);
  // Hands the crash path what it reads of rumQueue's state; called on rumQueue after each change.
  void publishCrashState();

  bool isFlutter() const;
  platform::Date now() const;

  std::shared_ptr<ObserverValue<std::optional<BatchContext>>> batchObserver();
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateObserver();
  std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> performanceObserver();
  std::shared_ptr<ObserverValue<std::optional<TrackedEvent>>> trackedEventsObserver();
  std::shared_ptr<ObserverValue<std::optional<ReachabilityConnection>>> reachabilityObserver();
  std::shared_ptr<TouchesObserverValue> touchesObserver();

  RUMDependencies dependencies_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  std::optional<BatchContext> batchContext_;
  std::optional<ViewContext> viewContext_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<RUMPlaceholderProviding> imagePlaceholderBuilder_;
  std::shared_ptr<platform::DispatchQueue> rumQueue_;
  std::shared_ptr<platform::DispatchQueue> rumMainQueue_;
  std::unique_ptr<RUMScreenHandle> screenHandle_;
  std::shared_ptr<RUMUIScrollContentOffsetSwizzler> contentOffsetSwizzler_;  // when the core built the handle
  std::shared_ptr<RUMTouchesObserving> touchesHandle_;
  std::shared_ptr<RUMScrollHandling> scrollHandle_;
  std::shared_ptr<RUMFormHandling> formHandle_;
  std::unique_ptr<RUMSamplingHandle> samplingHandle_;
  std::unique_ptr<RUMConfiguration> rumConfiguration_;
  // Hands changed sampling flags to the pages of web views on screen.
  std::shared_ptr<RUMWebViewSampling> webViewSampling_;
  std::optional<platform::Date> timeInBackground_;
  std::atomic<bool> crashScreenStoped_{false};
  // What the crashing thread reads, published by rumQueue: it takes no lock and allocates nothing.
  struct CrashState {
    std::optional<BatchContext> batch;
    bool discarded = false;
    bool flutter = false;
  };
  PublishedSnapshot<CrashState> crashState_;
  bool currentScreenDiscarded_ = false;
  std::optional<ImageEvent> currentPlaceholder_;
  ReadWriteLock<std::vector<TrackedEvent>> trackedEventsToSend_;
  ReadWriteLock<std::shared_ptr<OBXDelegate>> delegate_;

  std::shared_ptr<ObserverValue<std::optional<BatchContext>>> batchObserver_;
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateObserver_;
  std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> performanceObserver_;
  std::shared_ptr<ObserverValue<std::optional<TrackedEvent>>> trackedEventsObserver_;
  std::shared_ptr<ObserverValue<std::optional<ReachabilityConnection>>> reachabilityObserver_;
  std::shared_ptr<TouchesObserverValue> touchesObserver_;
};

}  // namespace obx
