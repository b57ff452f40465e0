#include "svr/svr_core.h"

#include <cmath>

#include "base/logger.h"
#include "lifecycle/observing.h"
#include "platform/files/file_manager.h"
#include "session/crash_coordinator.h"
#include "session/crash_snapshot.h"
#include "session/stored_image.h"
#include "session/user_masking.h"
#include "store/data_controller.h"
#include "store/image_cache.h"
#include "svr/recording/replay_rates.h"

namespace obx {
namespace {

bool listHolds(const std::optional<StringList>& list, const std::string& name) {
  if (!list) return false;
  for (const auto& entry : *list) {
    if (entry == name) return true;
  }
  return false;
}

std::optional<ImageEvent> storeImage(DataController& dataController, const ImageToParse& image, platform::Date now) {
  const std::string_view jpeg(reinterpret_cast<const char*>(image.data.data()), image.data.size());
  return storeReplayImage(dataController, image.batchContext,
                          ReplayImage{jpeg, image.size, image.index, image.isPlaceholder}, now);
}

}  // namespace

std::shared_ptr<SVRCore> SVRCore::make(SVRDependencies dependencies, std::shared_ptr<DataController> dataController,
                                       std::shared_ptr<platform::Scheduler> scheduler) {
  if (!dependencies.configuration || !dataController || !scheduler) {
    Logger::log("Session replay can't start without its configuration and store", LogLevel::developer);
    return nullptr;
  }
  auto core = std::make_shared<SVRCore>(Token{}, std::move(dependencies), std::move(dataController),
                                        std::move(scheduler));
  core->start();
  return core;
}

SVRCore::SVRCore(Token, SVRDependencies dependencies, std::shared_ptr<DataController> dataController,
                 std::shared_ptr<platform::Scheduler> scheduler)
    : dependencies_(std::move(dependencies)),
      scheduler_(std::move(scheduler)),
      dataController_(std::move(dataController)),
      svrQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      configuration_(std::make_shared<SVRConfiguration>(dependencies_.configuration, svrQueue_)),
      userMasking_(dependencies_.userMasking),
      imagePlaceholderBuilder_(dependencies_.imagePlaceholderBuilder) {}

void SVRCore::start() {
  if (configuration_->common().sessionReplayEnabled) {
    std::weak_ptr<SVRImagePublisher> publisher = std::static_pointer_cast<SVRImagePublisher>(shared_from_this());
    trackingImages_ = SVRTracking::make(configuration_, scheduler_, publisher, nullptr, imagePlaceholderBuilder_,
                                         ScreenRecorders::byMode);
    if (auto detector = dependencies_.screenDetector) {
      std::weak_ptr<ScreenDetectionObserving> weak = detector;
      trackingImages_->setScreenOnDisplay([weak](const std::string& screenID) {
        auto detector = weak.lock();
        return detector && detector->isOnDisplay(screenID);
      });
    }
  }
  if (auto appCycle = dependencies_.appCycle) appCycle->add(appStateCycleObserver());
  // SVRConfiguration subscribed itself at construction.
  if (auto performance = dependencies_.devicePerformance) {
    performance->add(performanceObserver());
    if (auto measure = performance->devicePerformance()) performanceObserver()->deliver(measure, std::nullopt);
  }
  if (auto batchCoordinator = dependencies_.batchCoordinator) {
    batchCoordinator->add(batchCoordinatorObserver());
    if (auto batch = batchCoordinator->batchContext()) batchCoordinatorObserver()->deliver(batch, std::nullopt);
  }
  CrashCoordinator::shared().add(shared_from_this());
}

SVRCore::~SVRCore() {
  // Core removes this feature as soon as it hears of a change, before svrQueue has seen it: the
  // end of the screen follows the configuration as it is now.
  Common common = dependencies_.configuration->common();
  auto batch = batchContext_.get();
  // Images that are deleted get no placeholder after them.
  const bool deleting = batch && !shouldCollectReplayData(common);
  if (batch && !deleting && common.userConsents != Consent::analyticsAndRecording) placeholderCheck(*batch);
  if (trackingImages_) trackingImages_->stop();
  if (deleting) {
    deleteImages(batch->viewContext.screenID);
    Logger::log("Delete images for screen: " + batch->viewContext.screenID, LogLevel::developer);
  }
  if (dependencies_.appCycle && appStateCycle_) dependencies_.appCycle->remove(appStateCycle_);
  if (dependencies_.devicePerformance && performance_) dependencies_.devicePerformance->remove(performance_);
  if (dependencies_.batchCoordinator && batchCoordinator_) dependencies_.batchCoordinator->remove(batchCoordinator_);
  trackingImages_.reset();
  configuration_.reset();
  // This object can no longer be named by a shared pointer: dropping expired entries removes it.
  CrashCoordinator::shared().remove(std::shared_ptr<SVRCore>());
  // A crash from now on is no longer this feature's to report.
  CrashSnapshot::publish(CrashSnapshot::Part::replay, std::nullopt);
}

// MARK: - Observers

std::shared_ptr<ObserverValue<std::optional<BatchContext>>> SVRCore::batchCoordinatorObserver() {
  if (!batchCoordinator_) {
    std::weak_ptr<SVRCore> weak = weak_from_this();
    batchCoordinator_ = ObserverValue<std::optional<BatchContext>>::make(
        svrQueue_, [weak](const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous) {
          if (auto self = weak.lock()) self->batchChanged(batch, previous);
        });
  }
  return batchCoordinator_;
}

std::shared_ptr<ObserverValue<AppStateCycle>> SVRCore::appStateCycleObserver() {
  if (!appStateCycle_) {
    std::weak_ptr<SVRCore> weak = weak_from_this();
    appStateCycle_ = ObserverValue<AppStateCycle>::make(svrQueue_, [weak](const AppStateCycle& state,
                                                                          const AppStateCycle&) {
      if (auto self = weak.lock()) self->appStateChanged(state);
    });
  }
  return appStateCycle_;
}

std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> SVRCore::performanceObserver() {
  if (!performance_) {
    std::weak_ptr<SVRCore> weak = weak_from_this();
    performance_ = ObserverValue<std::optional<DeviceMeasure>>::make(
        svrQueue_, [weak](const std::optional<DeviceMeasure>& measure, const std::optional<DeviceMeasure>&) {
          if (auto self = weak.lock()) self->performanceMeasured(measure);
        });
  }
  return performance_;
}

// MARK: - Batches and screens

void SVRCore::batchChanged(const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous) {
  if (!batch) {
    // The screen ended: if it never got an image, its placeholder stands for it.
    if (previous) placeholderCheck(*previous);
    batchContext_.set(std::nullopt);
    publishCrashSnapshot();
    pauseCapture();
    return;
  }
  batchContext_.set(batch);
  auto screen = viewContext_.get();
  std::string currentID = screen ? screen->screenID : std::string();
  if (batch->viewContext.screenID == currentID) {
    // A further batch of the same screen opens with the image on display.
    if (trackingImages_) trackingImages_->setBatch(batch);
    if (auto image = currentImage_.get()) dataController_->saveEvent(EventType::image, now(), *image, *batch);
  } else {
    newScreen(*batch);
  }
  publishCrashSnapshot();
}

void SVRCore::newScreen(const BatchContext& batch) {
  BitmapCache::shared().removeAllObjects();
  currentImage_.set(std::nullopt);
  nextIndex_.store(0);
  viewContext_.set(batch.viewContext);
  Common common = configuration_->common();
  const std::string& name = batch.viewContext.name;

  if (isDiscarded(common, batch.viewContext)) {
    if (trackingImages_) {
      trackingImages_->stop();
      trackingImages_->recorder().setIndex(0);
      trackingImages_->recorder().setImagesTaken(0);
    }
    placeholderCheck(batch);
    Logger::log("Screen " + name + " has been discarded or masked", LogLevel::qa);
    forceLoFiForNextScreen_ = true;
    return;
  }

  // Taken, not read and cleared later: masks the application adds while this screen starts are for
  // the next one.
  std::vector<MaskAutomatic> fromApplication =
      userMasking_ ? userMasking_->takeAutomaticMasksInScreen() : std::vector<MaskAutomatic>{};
  std::vector<platform::Rect> rects = userMasking_ ? userMasking_->takeRect() : std::vector<platform::Rect>{};
  if (trackingImages_) trackingImages_->recorder().setUserMaskedRects(std::move(rects));
  SessionReplayMode mode = chooseMode(common, name);
  if (trackingImages_) {
    std::vector<MaskAutomatic> masks = chooseMasks(common, fromApplication);
    trackingImages_->startScreen(batch.viewContext, batch, mode, masks, !fromApplication.empty());
  }
  Logger::log("OmbrixOBX start recording . . .", LogLevel::developer);
  lastAutomaticMaskingInCurrentScreen_ = fromApplication;
}

bool SVRCore::isDiscarded(const Common& common, const ViewContext& screen) const {
  return screen.discardRecording || listHolds(common.disableScreenTracking, screen.name) ||
         listHolds(common.screensMasking, screen.name);
}

SessionReplayMode SVRCore::chooseMode(const Common& common, const std::string& name) {
  SessionReplayMode mode = common.sessionReplayMode;
  if (listHolds(common.forceHiFi, name)) mode = SessionReplayMode::hiFi;
  if (listHolds(common.forceLoFi, name)) mode = SessionReplayMode::loFi;
  // The screen after a discarded one is drawn as a wireframe, whatever was asked.
  if (forceLoFiForNextScreen_) {
    forceLoFiForNextScreen_ = false;
    mode = SessionReplayMode::loFi;
  }
  return mode;
}

std::vector<MaskAutomatic> SVRCore::chooseMasks(const Common& common, const std::vector<MaskAutomatic>& fromApplication) {
  std::vector<MaskAutomatic> masks;
  if (!fromApplication.empty()) {
    masks = fromApplication;
  } else if (!maskingInCurrentScreen_.empty()) {
    masks = maskingInCurrentScreen_;
  } else {
    masks = common.maskingAutomatic;
  }
  maskingInCurrentScreen_.clear();
  return masks;
}

// MARK: - Application state and load

void SVRCore::appStateChanged(AppStateCycle state) {
  if (state != AppStateCycle::background) return;
  // The screen restarts when the application returns: the masks the application set for it hold
  // once more.
  maskingInCurrentScreen_ = lastAutomaticMaskingInCurrentScreen_;
  if (auto batch = batchContext_.get()) placeholderCheck(*batch);
  // Nothing is captured in the background; the screen detected on the return starts it again.
  pauseCapture();
}

void SVRCore::pauseCapture() {
  if (trackingImages_) trackingImages_->stop();
}

void SVRCore::performanceMeasured(const std::optional<DeviceMeasure>& measure) {
  if (!measure || !trackingImages_) return;
  trackingImages_->setDeviceStressed(measure->isStressed);
}

void SVRCore::crashed(const Crash&) {
  if (auto batch = batchContext_.get()) placeholderCheck(*batch);
}

// MARK: - Placeholders

std::optional<PlaceholderReason> SVRCore::owedPlaceholder(const BatchContext& batch) const {
  Common common = dependencies_.configuration->common();
  if (common.platform.type == PlatformType::flutter) return std::nullopt;
  const ViewContext& screen = batch.viewContext;
  if (listHolds(common.disableScreenTracking, screen.name)) return std::nullopt;
  if (listHolds(common.screensMasking, screen.name)) return PlaceholderReason::videoMasked;
  if (screen.discardRecording) return PlaceholderReason::videoDisabled;
  if (!trackingImages_ || nextIndex_.load() != 0) return std::nullopt;
  return PlaceholderReason::noVideo;
}

void SVRCore::publishCrashSnapshot() {
  auto batch = batchContext_.get();
  auto reason = batch && imagePlaceholderBuilder_ && nextIndex_.load() == 0 ? owedPlaceholder(*batch) : std::nullopt;
  if (!reason) {
    CrashSnapshot::publish(CrashSnapshot::Part::replay, std::nullopt);
    return;
  }
  const platform::Size screen = mainScreenSize();
  const platform::Size image = imageSizeForScreen(screen);
  CrashSnapshot::publish(CrashSnapshot::Part::replay, batch,
                         {CrashSnapshot::owedPlaceholder(*reason, Size{screen.width, screen.height},
                                                         Size{image.width, image.height})});
}

void SVRCore::placeholderCheck(const BatchContext& batch) {
  auto owed = owedPlaceholder(batch);
  if (!owed || !imagePlaceholderBuilder_) return;
  const PlaceholderReason reason = *owed;
  const ViewContext& screen = batch.viewContext;
  Logger::log("Create placeholder '" + placeholderReasonMessage(reason) + "' -> ID: " + screen.screenID, LogLevel::qa);
  std::weak_ptr<SVRCore> weak = weak_from_this();
  std::shared_ptr<DataController> dataController = dataController_;
  std::shared_ptr<platform::Scheduler> scheduler = scheduler_;
  std::shared_ptr<BatchCoordinatorObserving> coordinator = dependencies_.batchCoordinator;
  const std::int64_t index = nextIndex_.load();
  imagePlaceholderBuilder_->createPlaceholder(
      reason, [weak, batch, dataController, scheduler, coordinator, index](std::optional<std::string> data) {
        if (!data) return;
        if (auto self = weak.lock()) {
          self->placeholderArrived(batch, *data);
          return;
        }
        // The feature went while the placeholder was drawn (consent withdrawn at the end of a
        // screen): the screen still gets it, after its images, if its batch is still open.
        auto live = coordinator ? coordinator->batchContext() : std::nullopt;
        if (!live || live->id != batch.id) return;
        platform::Size size = mainScreenImageSize();
        ImageToParse image{std::vector<std::uint8_t>(data->begin(), data->end()), Size{size.width, size.height},
                           batch, index, true};
        storeImage(*dataController, image, scheduler->clock().now());
      });
}

void SVRCore::placeholderArrived(const BatchContext& batch, const std::string& data) {
  platform::Size size = mainScreenImageSize();
  publishImage(ImageToParse{std::vector<std::uint8_t>(data.begin(), data.end()), Size{size.width, size.height}, batch,
                            0, true});
}

// MARK: - Images

void SVRCore::publishImage(std::optional<ImageToParse> image) {
  if (!image) {
    auto batch = batchContext_.get();
    Logger::log("New image is nil for screen " + (batch ? batch->viewContext.name : std::string("nil")),
                LogLevel::developer);
    return;
  }
  // Stored in order with the screen changes, which this queue hears.
  std::weak_ptr<SVRCore> weak = weak_from_this();
  svrQueue_->async([weak, image = std::move(*image)]() mutable {
    if (auto self = weak.lock()) self->storeIfOnDisplay(std::move(image));
  });
}

void SVRCore::storeIfOnDisplay(ImageToParse image) {
  const std::string screenID = image.batchContext.viewContext.screenID;
  auto batch = batchContext_.get();
  // The coordinator may have cut the batch or ended the screen before this queue heard of it: the
  // batch it writes under now is the only one still open.
  if (batch && dependencies_.batchCoordinator) batch = dependencies_.batchCoordinator->batchContext();
  if (!batch || batch->viewContext.screenID != screenID) {
    Logger::log("Image of screen " + screenID + " dropped: the screen is no longer on display", LogLevel::developer);
    return;
  }
  image.batchContext = *batch;
  image.index = nextIndex_.load();
  // The screen's first image: a crash from now on owes it no placeholder. Said before the write, so
  // that a crash between the two never gives the screen a second image 0.
  if (image.index == 0) CrashSnapshot::publish(CrashSnapshot::Part::replay, std::nullopt);
  auto event = storeImage(*dataController_, image, now());
  if (!event) {
    publishCrashSnapshot();
    return;
  }
  nextIndex_.store(image.index + 1);
  currentImage_.set(event);
  Logger::log("Save current image for next batch: " + screenID + " with index: " + std::to_string(event->index),
              LogLevel::developer);
  if (trackingImages_) trackingImages_->recorder().setIndex(image.index + 1);
}

void SVRCore::deleteImages(const std::string& screenID) {
  Repository& repository = dataController_->repository();
  const std::string prefix = screenID + "_";
  auto listing = platform::contentsOfDirectoryAtPath(repository.root().url);
  for (const auto& entry : listing.entries) {
    if (!entry.isDirectory || entry.name.rfind(prefix, 0) != 0) continue;
    // A read waits for the writes queued before it, so no image lands after its folder went.
    repository.events(entry.name);
    if (auto error = dataController_->repository().deleteImages(entry.name)) {
      Logger::log("Error deleting images of " + entry.name + ": " + *error, LogLevel::developer);
    }
  }
}

platform::Date SVRCore::now() const { return scheduler_->clock().now(); }

}  // namespace obx
