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
  std::shared_ptr<platform::DispatchWorkItem> work;
  {
    std::lock_guard lock(mutex_);
    if (batchCyclerWork_) return;
    batchCyclerWork_ = makeWorkItem();
    work = batchCyclerWork_;
  }
  batchQueue_->asyncAfter(delay, work);
}

void BatchCoordinator::stop() {
  std::shared_ptr<platform::DispatchWorkItem> work;
  {
    std::lock_guard lock(mutex_);
    work = std::move(batchCyclerWork_);
    batchCyclerWork_.reset();
    batchContext_.reset();
  }
  if (work) work->cancel();
  notifier_->notify(std::nullopt);
}

void BatchCoordinator::newBatch(const std::optional<ViewContext>& context) {
  std::optional<BatchContext> batch;
  if (context) {
    const std::string date = platform::formatDate(batchQueue_->now(), "yyyyMMddHHmmss");
    batch = BatchContext{context->screenID + "_" + date, *context};
  }
  {
    std::lock_guard lock(mutex_);
    batchContext_ = batch;
  }
  notifier_->notify(std::move(batch));
}

std::shared_ptr<platform::DispatchWorkItem> BatchCoordinator::makeWorkItem() {
  std::weak_ptr<BatchCoordinator> weak = weak_from_this();
  return platform::DispatchWorkItem::make([weak] {
    if (auto self = weak.lock()) self->cycle();
  });
}

void BatchCoordinator::onScreenChanged(const std::optional<ViewContext>& context) {
  std::shared_ptr<platform::DispatchWorkItem> previous;
  {
    std::lock_guard lock(mutex_);
    previous = batchCyclerWork_;
  }
  if (previous) previous->cancel();
  newBatch(context);
  auto work = makeWorkItem();
  {
    std::lock_guard lock(mutex_);
    batchCyclerWork_ = work;
  }
  if (!work) {
    Logger::log("Not worker to batch cycle", LogLevel::developer);
    return;
  }
  batchQueue_->asyncAfter(batchTime(), work);
}

void BatchCoordinator::onAppState(AppStateCycle state) {
  if (state != AppStateCycle::background) return;
  // Cancelled but kept: start() then leaves it alone, and only the next screen restarts the cycle.
  std::lock_guard lock(mutex_);
  if (batchCyclerWork_) batchCyclerWork_->cancel();
}

void BatchCoordinator::cycle() {
  std::shared_ptr<platform::DispatchWorkItem> work;
  std::optional<ViewContext> context;
  {
    std::lock_guard lock(mutex_);
    work = batchCyclerWork_;
    if (batchContext_) context = batchContext_->viewContext;
  }
  if (work) {
    batchQueue_->asyncAfter(batchTime(), work);
  } else {
    Logger::log("Not worker to batch cycle", LogLevel::developer);
  }
  Logger::log("📬 Start worker to batch cycle", LogLevel::developer);
  newBatch(context);
}

}  // namespace obx
