// SVRCore: turns the stream of batches into stored replay images. Per screen it decides whether
// images may be taken (screens left out or masked, a screen the application discarded), which
// masks apply and which recording mode is asked for, and starts the screen on SVRTracking; every
// finished image comes back through `publishImage` and is stored with its "image" event. A screen
// that ends without any image gets a placeholder that says why.
//
// Threads: the batch, application-state and performance observers run on "obx.ombrix.feature.SVR"
// (svrQueue), which owns the per-screen mask lists and the Lo-Fi flag. Images come from the
// recorder's drawing queue and placeholders from the main queue; both are stored on svrQueue, in
// order with the screen changes. `crashed` comes on the crashing thread. While the current screen has
// no image, svrQueue keeps the crash snapshot's replay part naming the placeholder it is owed, so that
// the next start after a crash still gives the screen its placeholder.
//
// An image is stored only while its screen is on display, into the batch the coordinator writes
// under at that moment, and numbered by this core: each screen's images run from 0 without gaps
// or repeats, and nothing is written into a batch that has been closed. An image whose screen has
// ended is dropped. While the application is in the background, or between screens, nothing is
// captured.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "lifecycle/app_state_cycle.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/device_measure.h"
#include "platform/dispatch/dispatch_queue.h"
#include "session/crash_coordinator_delegate.h"
#include "session/image_placeholder_builder.h"
#include "store/events/payloads.h"
#include "svr/recording/svr_image_publisher.h"
#include "svr/svr_configuration.h"
#include "svr/svr_dependencies.h"
#include "svr/svr_tracking.h"

namespace obx {

class DataController;

class SVRCore final : public SVRImagePublisher,
                      public CrashCoordinatorDelegate,
                      public std::enable_shared_from_this<SVRCore> {
 public:
  static constexpr const char* kQueueLabel = "obx.ombrix.feature.SVR";

  // Builds the core and subscribes it to its producers, handing it the batch and measure they
  // already hold. Null without a configuration, a store or a scheduler.
  static std::shared_ptr<SVRCore> make(SVRDependencies dependencies, std::shared_ptr<DataController> dataController,
                                       std::shared_ptr<platform::Scheduler> scheduler);
  ~SVRCore() override;
  SVRCore(const SVRCore&) = delete;
  SVRCore& operator=(const SVRCore&) = delete;

  // SVRImagePublisher: stores the image and its "image" event under the image's own batch. Any
  // thread.
  void publishImage(std::optional<ImageToParse> image) override;
  // CrashCoordinatorDelegate: the current screen gets its placeholder if it has no image.
  void crashed(const Crash& crash) override;

  const std::shared_ptr<platform::DispatchQueue>& svrQueue() const { return svrQueue_; }
  // The tracking loop; null when replay was disabled at construction.
  const std::shared_ptr<SVRTracking>& trackingImages() const { return trackingImages_; }

 private:
  struct Token {};

 public:
  SVRCore(Token, SVRDependencies dependencies, std::shared_ptr<DataController> dataController,
          std::shared_ptr<platform::Scheduler> scheduler);

 private:
  void start();

  // Observers, on svrQueue.
  void batchChanged(const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous);
  void newScreen(const BatchContext& batch);
  void appStateChanged(AppStateCycle state);
  void performanceMeasured(const std::optional<DeviceMeasure>& measure);

  bool isDiscarded(const Common& common, const ViewContext& screen) const;
  SessionReplayMode chooseMode(const Common& common, const std::string& name);
  std::vector<MaskAutomatic> chooseMasks(const Common& common, const std::vector<MaskAutomatic>& fromApplication);

  // The placeholder a screen is owed if it ended now: nothing when it may be recorded and has images.
  std::optional<PlaceholderReason> owedPlaceholder(const BatchContext& batch) const;
  // Asks for the placeholder of a screen that may not be, or was not, recorded; any thread.
  void placeholderCheck(const BatchContext& batch);
  // svrQueue: what a crash now would owe the current screen, for the next start to write.
  void publishCrashSnapshot();
  void placeholderArrived(const BatchContext& batch, const std::string& data);
  // svrQueue: stores the image under the live batch of its screen, or drops it.
  void storeIfOnDisplay(ImageToParse image);
  // svrQueue: ends the capture of the screen (between screens, in the background).
  void pauseCapture();
  // Deletes the images of every batch of the screen, once the writes queued before are done.
  void deleteImages(const std::string& screenID);

  platform::Date now() const;

  std::shared_ptr<ObserverValue<std::optional<BatchContext>>> batchCoordinatorObserver();
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateCycleObserver();
  std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> performanceObserver();

  SVRDependencies dependencies_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  ReadWriteLock<std::optional<ViewContext>> viewContext_{std::nullopt};
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<platform::DispatchQueue> svrQueue_;
  std::shared_ptr<SVRConfiguration> configuration_;
  std::shared_ptr<UserMasking> userMasking_;
  std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder_;
  std::shared_ptr<SVRTracking> trackingImages_;
  std::vector<MaskAutomatic> lastAutomaticMaskingInCurrentScreen_;
  std::vector<MaskAutomatic> maskingInCurrentScreen_;
  ReadWriteLock<std::optional<BatchContext>> batchContext_{std::nullopt};
  ReadWriteLock<std::optional<ImageEvent>> currentImage_{std::nullopt};
  // The index of the next image of the current screen; svrQueue, read by the teardown.
  std::atomic<std::int64_t> nextIndex_{0};
  bool forceLoFiForNextScreen_ = false;

  std::shared_ptr<ObserverValue<AppStateCycle>> appStateCycle_;
  std::shared_ptr<ObserverValue<std::optional<BatchContext>>> batchCoordinator_;
  std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> performance_;
};

}  // namespace obx
