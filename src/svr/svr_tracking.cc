#include "svr/svr_tracking.h"

#include "base/logger.h"
#include "svr/recording/replay_rates.h"

namespace obx {

std::shared_ptr<SVRTracking> SVRTracking::make(std::shared_ptr<SVRConfiguration> configuration,
                                               std::shared_ptr<platform::Scheduler> scheduler,
                                               std::weak_ptr<SVRImagePublisher> imagePublisher,
                                               BitmapCache* imageCache,
                                               std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder,
                                               ScreenRecorders recorders) {
  std::shared_ptr<SVRTracking> tracking(new SVRTracking(configuration, scheduler, std::move(imagePublisher)));
  tracking->imagePlaceholderBuilder_ = std::move(imagePlaceholderBuilder);
  tracking->viewChangeDetector_ = SVRViewChangeDetector::make(configuration, scheduler);
  tracking->viewChangeDetector_->start();
  tracking->listenToLayerChanges();
  tracking->recorders_ = recorders;
  tracking->loFiRecorder_ = ScreenRecordingLOFIMode::make(std::move(configuration), std::move(scheduler), imageCache);
  tracking->loFiRecorder_->setImagePublisher(tracking);
  tracking->recorder_.set(tracking->loFiRecorder_);
  return tracking;
}

SVRTracking::SVRTracking(std::shared_ptr<SVRConfiguration> configuration,
                         std::shared_ptr<platform::Scheduler> scheduler,
                         std::weak_ptr<SVRImagePublisher> imagePublisher)
    : configuration_(std::move(configuration)),
      scheduler_(std::move(scheduler)),
      obxQueue_(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.SVRTracking")),
      imagePublisher_(std::move(imagePublisher)),
      sessionReplayMode_(configuration_->common().sessionReplayMode) {}

SVRTracking::~SVRTracking() {
  invalidateDisplayLink();
  stopListeningToLayerChanges();
}

void SVRTracking::listenToLayerChanges() {
  // A swizzle that fails leaves replay on its clock alone; there is nothing to tell.
  viewChangeDetector_->swizzleLayoutSublayersOfLayer();
  if (newChangeInLayer_.get()) return;
  std::weak_ptr<SVRTracking> weak = weak_from_this();
  auto observer = LayerChangeObserverValue::make(obxQueue_, [weak](const LayerChange&, const LayerChange&) {
    if (auto self = weak.lock()) self->recorder_.get()->setNeedNewImage(true);
  });
  newChangeInLayer_.set(observer);
  viewChangeDetector_->add(observer);
}

void SVRTracking::stopListeningToLayerChanges() {
  if (!viewChangeDetector_) return;
  viewChangeDetector_->unswizzleAll();
  auto observer = newChangeInLayer_.mutate(
      [](std::shared_ptr<LayerChangeObserverValue>& value) { return std::exchange(value, nullptr); });
  if (observer) viewChangeDetector_->remove(observer);
}

double SVRTracking::runningFramesPerSecond() const {
  auto link = displayLink_.get();
  return link && link->isRunning() ? link->framesPerSecond() : 0;
}

void SVRTracking::invalidateDisplayLink() {
  auto link = displayLink_.mutate([](std::shared_ptr<platform::DisplayLink>& value) { return std::exchange(value, nullptr); });
  if (link) link->invalidate();
}

void SVRTracking::createDisplayLinkIfAbsent() {
  double rate = framesPerSecond(configuration_->common().videoQualityType);
  auto link = displayLink_.get();
  // A running link keeps its rate until the screen ends; a new screen takes the present rate.
  if (link && link->framesPerSecond() != rate) {
    invalidateDisplayLink();
    link = nullptr;
  }
  if (link) return;
  std::weak_ptr<SVRTracking> weak = shared_from_this();
  link = platform::DisplayLink::make(scheduler_->mainQueue(), rate, [weak](platform::Date) {
    if (auto self = weak.lock()) self->videoFrame();
  });
  displayLink_.set(link);
  link->start();
}

void SVRTracking::setScreenOnDisplay(ScreenOnDisplay onDisplay) {
  std::lock_guard lock(screenMutex_);
  screenOnDisplay_ = onDisplay;
  loFiRecorder_->setScreenOnDisplay(onDisplay);
  if (hiFiRecorder_) hiFiRecorder_->setScreenOnDisplay(std::move(onDisplay));
}

void SVRTracking::startScreen(const ViewContext& viewContext, std::optional<BatchContext> batch,
                              std::optional<SessionReplayMode> mode, std::optional<std::vector<MaskAutomatic>> masks,
                              bool forceMask) {
  Common common = configuration_->common();
  if (!common.sessionReplayEnabled) {
    Logger::log("Session replay disabled for screen " + viewContext.name, LogLevel::developer);
    invalidateDisplayLink();
    return;
  }
  createDisplayLinkIfAbsent();
  listenToLayerChanges();
  Logger::log("Start new Screen Images for screen " + viewContext.name, LogLevel::developer);
  SessionReplayMode resolved = mode.value_or(common.sessionReplayMode);
  std::shared_ptr<ScreenRecordingMode> recorder;
  {
    std::lock_guard lock(screenMutex_);
    ++screenCount_;
    sessionReplayMode_.set(resolved);
    batchContext_.set(batch);
    recorder = loFiRecorder_;
    if (recorders_ == ScreenRecorders::byMode && resolved == SessionReplayMode::hiFi) {
      if (!hiFiRecorder_) {
        hiFiRecorder_ = ScreenRecordingHIFIMode::make(configuration_, scheduler_);
        hiFiRecorder_->setImagePublisher(weak_from_this());
        hiFiRecorder_->setScreenOnDisplay(screenOnDisplay_);
      }
      recorder = hiFiRecorder_;
    }
    // The application's blocks for this screen were handed to the recorder in force until now.
    auto previous = recorder_.get();
    if (previous != recorder) {
      recorder->setUserMaskedRects(previous->userMaskedRects());
      // The other recorder serves no screen: a capture of it still under way is dropped.
      previous->setBatchContext(std::nullopt);
    }
    recorder_.set(recorder);
    recorder->setScreen(RecordedScreen{std::move(batch), masks.value_or(std::vector<MaskAutomatic>{}), forceMask, resolved});
    recorder->setIndex(0);
    recorder->setImagesTaken(0);
    stressedImage_.set(std::nullopt);
    isRepeatedImage_.store(false);
  }
  if (!isDeviceStressed_.get().empty()) {
    stressPlaceholder();
    return;
  }
  // The first image of a screen does not wait for a tick.
  recorder->setNeedNewImage(true);
  recordNow();
}

void SVRTracking::setBatch(std::optional<BatchContext> batch) {
  std::lock_guard lock(screenMutex_);
  batchContext_.set(batch);
  recorder_.get()->setBatchContext(std::move(batch));
}

void SVRTracking::stop() {
  invalidateDisplayLink();
  stopListeningToLayerChanges();
  // No screen is recorded until the next start: captures under way are dropped.
  std::lock_guard lock(screenMutex_);
  batchContext_.set(std::nullopt);
  loFiRecorder_->setBatchContext(std::nullopt);
  if (hiFiRecorder_) hiFiRecorder_->setBatchContext(std::nullopt);
}

void SVRTracking::videoFrame() {
  if (!isDeviceStressed_.get().empty()) {
    stressPlaceholder();
    return;
  }
  // The stress has ended: its placeholder marks the end of the gap, then images resume.
  auto stressed = stressedImage_.mutate([](std::optional<ImageToParse>& value) { return std::exchange(value, std::nullopt); });
  if (stressed) publishImage(std::move(stressed));
  isRepeatedImage_.store(false);
  recordNow();
}

void SVRTracking::setDeviceStressed(std::vector<DeviceStressedType> stress) { isDeviceStressed_.set(std::move(stress)); }

void SVRTracking::stressPlaceholder() {
  if (isRepeatedImage_.exchange(true)) return;
  auto stress = isDeviceStressed_.get();
  if (stress.empty() || !imagePlaceholderBuilder_) {
    isRepeatedImage_.store(false);
    return;
  }
  std::optional<BatchContext> batch;
  std::uint64_t screen = 0;
  {
    std::lock_guard lock(screenMutex_);
    batch = batchContext_.get();
    screen = screenCount_;
  }
  std::weak_ptr<SVRTracking> weak = shared_from_this();
  imagePlaceholderBuilder_->createPlaceholder(placeholderReasonFor(stress.front()),
                                              [weak, batch, screen](std::optional<std::string> data) {
                                                if (auto self = weak.lock()) {
                                                  self->stressPlaceholderArrived(std::move(data), batch, screen);
                                                }
                                              });
}

void SVRTracking::stressPlaceholderArrived(std::optional<std::string> data, std::optional<BatchContext> batch,
                                           std::uint64_t screen) {
  std::unique_lock lock(screenMutex_);
  // A screen started since the request has its own placeholder to ask for.
  if (screen != screenCount_) return;
  if (!data || !batch) {
    // Nothing went out: the next tick under stress asks again.
    isRepeatedImage_.store(false);
    return;
  }
  platform::Size size = mainScreenImageSize();
  ImageToParse image{std::vector<std::uint8_t>(data->begin(), data->end()), Size{size.width, size.height}, *batch,
                     recorder_.get()->index(), true};
  stressedImage_.set(image);
  lock.unlock();
  publishImage(std::move(image));
}

void SVRTracking::recordNow() {
  platform::Size size = mainScreenImageSize();
  std::weak_ptr<SVRTracking> weak = weak_from_this();
  auto recorder = recorder_.get();
  auto batch = recorder->batchContext();
  std::string screenID = batch ? batch->viewContext.screenID : std::string();
  const ScreenRecordingMode* asking = recorder.get();
  recorder->recordScreen(size.width, size.height, [weak, asking, screenID](bool needChange, bool isLoFi) {
    if (!needChange) return;
    if (auto self = weak.lock()) self->changeRecorder(isLoFi, asking, screenID);
  });
}

void SVRTracking::changeRecorder(bool fromLoFi, const ScreenRecordingMode* asking, const std::string& screenID) {
  SessionReplayMode mode = fromLoFi ? SessionReplayMode::hiFi : SessionReplayMode::loFi;
  {
    std::lock_guard lock(screenMutex_);
    std::shared_ptr<ScreenRecordingMode> next = loFiRecorder_;
    if (mode == SessionReplayMode::hiFi) next = hiFiRecorder_;
    auto previous = recorder_.get();
    if (!next || next == previous || previous.get() != asking) return;
    RecordedScreen screen = previous->screen();
    // The request was for a screen that has ended since: the present one decides for itself.
    if (!screen.batch || screen.batch->viewContext.screenID != screenID) return;
    sessionReplayMode_.set(mode);
    // The screen goes on: its counters and the application's blocks come along.
    screen.mode = mode;
    next->setScreen(std::move(screen));
    next->setIndex(previous->index());
    next->setImagesTaken(previous->imagesTaken());
    next->setUserMaskedRects(previous->userMaskedRects());
    next->setNeedNewImage(true);
    previous->setBatchContext(std::nullopt);
    recorder_.set(next);
  }
  recordNow();
}

void SVRTracking::publishImage(std::optional<ImageToParse> image) {
  if (!image) return;
  if (auto publisher = imagePublisher_.lock()) publisher->publishImage(std::move(image));
}

}  // namespace obx
