#include "lifecycle/batch_coordinator.h"

#include "base/logger.h"
#include "platform/text/date_format.h"

namespace obx {

std::shared_ptr<BatchCoordinator> BatchCoordinator::make(
    std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<ScreenDetectionObserving> screenDetector,
    std::shared_ptr<SDKConfiguration> configuration, std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
    std::shared_ptr<Notifier<std::optional<BatchContext>>> notifier) {
  auto coordinator = std::make_shared<BatchCoordinator>(std::move(scheduler), std::move(screenDetector),
                                                        std::move(configuration), std::move(appLifeCycle),
                                                        std::move(notifier));
  coordinator->subscribe();
  return coordinator;
}

BatchCoordinator::BatchCoordinator(std::shared_ptr<platform::Scheduler> scheduler,
                                   std::shared_ptr<ScreenDetectionObserving> screenDetector,
                                   std::shared_ptr<SDKConfiguration> configuration,
                                   std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
                                   std::shared_ptr<Notifier<std::optional<BatchContext>>> notifier)
    : batchQueue_(platform::DispatchQueue::makeSerial(std::move(scheduler), "obx.ombrix.common.BatchController")),
      screenDetector_(std::move(screenDetector)),
      configuration_(std::move(configuration)),
      appLifeCycle_(std::move(appLifeCycle)),
      notifier_(std::move(notifier)) {}

BatchCoordinator::~BatchCoordinator() {
  stop();
  if (screenDetectedObserver_ && screenDetector_) screenDetector_->remove(screenDetectedObserver_);
  if (appStateCycleObserver_ && appLifeCycle_) appLifeCycle_->remove(appStateCycleObserver_);
}

void BatchCoordinator::subscribe() {
  std::weak_ptr<BatchCoordinator> weak = shared_from_this();
  screenDetectedObserver_ = ScreenObserverValue::make(
      batchQueue_, [weak](const std::optional<ViewContext>& context, const std::optional<ViewContext>&) {
        if (auto self = weak.lock()) self->onScreenChanged(context);
      });
  appStateCycleObserver_ =
      ObserverValue<AppStateCycle>::make(batchQueue_, [weak](const AppStateCycle& state, const AppStateCycle&) {
        if (auto self = weak.lock()) self->onAppState(state);
      });
  if (screenDetector_) screenDetector_->add(screenDetectedObserver_);
  if (appLifeCycle_) appLifeCycle_->add(appStateCycleObserver_);
}

std::optional<BatchContext> BatchCoordinator::batchContext() const {
  std::lock_guard lock(mutex_);
  return batchContext_;
}

double BatchCoordinator::batchTime() const { return configuration_ ? configuration_->common().batchTime : 5.0; }

void BatchCoordinator::start(double delay) {
  std::lock_guard lock(mutex_);
  if (batchCyclerWork_) return;
  batchCyclerWork_ = makeWorkItem();
  batchQueue_->asyncAfter(delay, batchCyclerWork_);
}

void BatchCoordinator::stop() {
  std::lock_guard lock(mutex_);
  if (batchCyclerWork_) batchCyclerWork_->cancel();
  batchCyclerWork_.reset();
  batchContext_.reset();
  notifier_->notify(std::nullopt);
}

void BatchCoordinator::newBatch(const std::optional<ViewContext>& context) {
  std::optional<BatchContext> batch;
  if (context) {
    const std::string date = platform::formatDate(batchQueue_->now(), "yyyyMMddHHmmss");
    batch = BatchContext{context->screenID + "_" + date, *context};
  }
  batchContext_ = batch;
  notifier_->notify(std::move(batch));
}

std::shared_ptr<platform::DispatchWorkItem> BatchCoordinator::makeWorkItem() {
  std::weak_ptr<BatchCoordinator> weak = weak_from_this();
  // The item knows itself only weakly: it is owned by the coordinator and by the queue.
  auto self = std::make_shared<std::weak_ptr<platform::DispatchWorkItem>>();
  auto work = platform::DispatchWorkItem::make([weak, self] {
    auto coordinator = weak.lock();
    auto item = self->lock();
    if (coordinator && item) coordinator->cycle(item);
  });
  *self = work;
  return work;
}

void BatchCoordinator::onScreenChanged(const std::optional<ViewContext>& context) {
  std::lock_guard lock(mutex_);
  if (batchCyclerWork_) batchCyclerWork_->cancel();
  newBatch(context);
  batchCyclerWork_ = makeWorkItem();
  if (!batchCyclerWork_) {
    Logger::log("Not worker to batch cycle", LogLevel::developer);
    return;
  }
  batchQueue_->asyncAfter(batchTime(), batchCyclerWork_);
}

void BatchCoordinator::onAppState(AppStateCycle state) {
  if (state != AppStateCycle::background) return;
  // Cancelled but kept: start() then leaves it alone, and only the next screen restarts the cycle.
  std::lock_guard lock(mutex_);
  if (batchCyclerWork_) batchCyclerWork_->cancel();
}

void BatchCoordinator::cycle(const std::shared_ptr<platform::DispatchWorkItem>& work) {
  std::lock_guard lock(mutex_);
  // A tick that was already due when a stop or a new screen replaced its item ends here.
  if (work != batchCyclerWork_ || work->isCancelled()) {
    if (!batchCyclerWork_) Logger::log("Not worker to batch cycle", LogLevel::developer);
    return;
  }
  batchQueue_->asyncAfter(batchTime(), work);
  Logger::log("📬 Start worker to batch cycle", LogLevel::developer);
  newBatch(batchContext_ ? std::optional<ViewContext>(batchContext_->viewContext) : std::nullopt);
}

}  // namespace obx
