#include "upload/upload_worker.h"

#include <charconv>

#include "base/logger.h"
#include "upload/events_request.h"
#include "upload/verbose_logging.h"

namespace obx {

namespace {

// Seconds as the log lines show them: the shortest exact form, with at least one decimal ("2.0").
std::string secondsText(double seconds) {
  char buffer[32];
  auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, seconds);
  if (error != std::errc{}) return "0.0";
  std::string text(buffer, end);
  if (text.find_first_of(".eEn") == std::string::npos) text += ".0";
  return text;
}

}  // namespace

// The screens of one pass, sent one after another.
struct UploadWorker::Pass {
  std::vector<ScreenToSend> screens;
  std::size_t next = 0;
};

std::shared_ptr<UploadWorker> UploadWorker::make(std::shared_ptr<platform::DispatchQueue> queue,
                                                 std::shared_ptr<UploadParser> uploadParser,
                                                 std::shared_ptr<DataController> dataController,
                                                 std::shared_ptr<UploaderConfiguration> configuration,
                                                 std::shared_ptr<BatchCoordinatorObserving> batchCoordinator,
                                                 std::shared_ptr<Uploader> uploader) {
  std::shared_ptr<UploadWorker> worker(new UploadWorker(std::move(queue), std::move(uploadParser),
                                                        std::move(dataController), std::move(configuration),
                                                        std::move(batchCoordinator), std::move(uploader)));
  worker->start();
  return worker;
}

UploadWorker::UploadWorker(std::shared_ptr<platform::DispatchQueue> queue, std::shared_ptr<UploadParser> uploadParser,
                           std::shared_ptr<DataController> dataController,
                           std::shared_ptr<UploaderConfiguration> configuration,
                           std::shared_ptr<BatchCoordinatorObserving> batchCoordinator,
                           std::shared_ptr<Uploader> uploader)
    : queue_(std::move(queue)),
      uploadParser_(std::move(uploadParser)),
      dataController_(std::move(dataController)),
      configuration_(std::move(configuration)),
      batchCoordinator_(std::move(batchCoordinator)),
      uploader_(std::move(uploader)) {}

UploadWorker::~UploadWorker() {
  if (auto work = uploadWork_.get()) work->cancel();
  uploadWork_.set(nullptr);
}

void UploadWorker::start() {
  std::weak_ptr<UploadWorker> weak = weak_from_this();
  uploadWork_.set(platform::DispatchWorkItem::make([weak] {
    if (auto self = weak.lock()) self->cycle();
  }));
  reschedule();
}

void UploadWorker::reschedule() {
  auto work = uploadWork_.get();
  if (!work) {
    Logger::log("Not worker to send", LogLevel::developer);
    return;
  }
  const double delay = configuration_->common().sendBatchDelay;
  Logger::log("⏳ delay worker " + secondsText(delay) + " seconds", LogLevel::developer);
  queue_->asyncAfter(delay, work);
}

void UploadWorker::cycle() {
  recoverServiceIfDue();
  const Common common = configuration_->common();
  if (!common.isLiveConfigFinished || screenToSendCount_.load() >= 1) {
    reschedule();
    return;
  }
  if (!isServiceOnline_.load()) {
    Logger::log("Collection service unavailable", LogLevel::qa);
    return;
  }
  const ReachabilityConnection connection = currentConnectivity_.load();
  if (connection == ReachabilityConnection::none) {
    reschedule();
    Logger::log("Not connection to start worker to send", LogLevel::qa);
    return;
  }
  if (connection != ReachabilityConnection::wifi && !common.mobileDataEnable) {
    reschedule();
    Logger::log("Cannot send data over cellular data", LogLevel::qa);
    return;
  }
  Logger::log("📬 Start worker to send", LogLevel::developer);
  // A new pass gives a service that failed before its tries again.
  uploader_->resetCounter();

  auto pass = std::make_shared<Pass>();
  pass->screens = screensToSend(common);
  screenToSendCount_.store(static_cast<int>(pass->screens.size()));
  Logger::log("✉️ " + std::to_string(pass->screens.size()) + " to send", LogLevel::developer);
  const bool verbose = verboseLogging();
  if (verbose) {
    Logger::log("Screen to send with ids: ", LogLevel::qa);
    for (const auto& screen : pass->screens) Logger::log("- " + screen.id, LogLevel::developer);
  }
  const bool empty = pass->screens.empty();
  passRunning_ = true;
  sendNext(std::move(pass));
  if (verbose && empty) Logger::log("📭 Not screens to send", LogLevel::developer);
  reschedule();
}

std::vector<ScreenToSend> UploadWorker::screensToSend(const Common& common) {
  auto ready = dataController_->readyBatches(batchCoordinator_ ? batchCoordinator_->batchContext() : std::nullopt);
  auto screens = dataController_->screenBatches(ready);
  const std::size_t limit = common.screenBatchToSend > 0 ? static_cast<std::size_t>(common.screenBatchToSend) : 0;
  if (screens.size() > limit) screens.resize(limit);
  std::vector<ScreenToSend> result;
  result.reserve(screens.size());
  for (const auto& screen : screens) result.push_back(dataController_->screenToSend(screen));
  return result;
}

void UploadWorker::recoverServiceIfDue() {
  if (isServiceOnline_.load() || passRunning_ || !stoppedAt_) return;
  const double elapsed = queue_->now() - *stoppedAt_;
  if (elapsed < kServiceRecoveryDelay) return;
  stoppedAt_.reset();
  // The stopped pass has ended: the screens it kept count for nothing now.
  screenToSendCount_.store(0);
  isServiceOnline_.store(true);
  Logger::log("Collection service tried again after " + secondsText(elapsed) + " seconds", LogLevel::qa);
}

void UploadWorker::sendNext(std::shared_ptr<Pass> pass) {
  if (pass->next >= pass->screens.size()) {
    passRunning_ = false;
    return;
  }
  const ScreenToSend& screen = pass->screens[pass->next];
  std::weak_ptr<UploadWorker> weak = weak_from_this();
  sendScreen(screen, [weak, pass] {
    auto self = weak.lock();
    if (!self) return;
    self->queue_->async([weak, pass] {
      auto self = weak.lock();
      if (!self) return;
      // The screen's data is no longer needed once it is finished; only the rest of the pass is kept.
      pass->screens[pass->next] = ScreenToSend{};
      ++pass->next;
      self->sendNext(pass);
    });
  });
}

void UploadWorker::sendScreen(const ScreenToSend& screen, std::function<void()> done) {
  auto current = batchCoordinator_ ? batchCoordinator_->batchContext() : std::nullopt;
  const bool isCurrent = current && current->id == screen.id;
  if (isCurrent && verboseLogging()) {
    Logger::log("Detect current screen with id: " + screen.id + ", process to delete from upload",
                LogLevel::developer);
  }
  if (isCurrent) {
    finishScreenUnsent();
    done();
    return;
  }
  bool retryLater = false;
  auto uploadScreen = uploadParser_->parse(screen, &retryLater);
  if (!uploadScreen) {
    finishScreenUnsent();
    if (!retryLater) dataController_->deleteBatch(screen.id);
    done();
    return;
  }
  const Common common = configuration_->common();
  EventsRequest request;
  request.ipHandling = common.ipHandling;
  request.property = common.property;
  request.cScreenID = uploadScreen->cScreenID;
  request.sessionID = uploadScreen->sessionID;
  request.leadID = uploadScreen->leadID;
  request.screenPassed = 1;
  request.fileName = screen.id + ".zip";
  request.data = std::move(uploadScreen->zip);
  if (uploadScreen->isInSampling) request.isInSampling = uploadScreen->isInSampling->data;
  auto requests = makeEventsRequests(request, common);
  if (requests.empty()) Logger::log(Uploader::kNoRequestDescription, LogLevel::developer);

  std::weak_ptr<UploadWorker> weak = weak_from_this();
  uploader_->upload(std::move(requests), [weak, screen, done = std::move(done)](SendResult result) {
    if (auto self = weak.lock()) {
      // Back on the worker's queue: the finishing table touches the disk and the pass's state.
      self->queue_->async([weak, screen, result = std::move(result), done] {
        if (auto self = weak.lock()) self->finishScreen(screen, result);
        done();
      });
    }
  });
}

void UploadWorker::finishScreenUnsent() { screenToSendCount_.fetch_sub(1); }

void UploadWorker::finishScreen(const ScreenToSend& screen, const SendResult& result) {
  if (result.isSuccess()) {
    screenToSendCount_.fetch_sub(1);
    Logger::log("✅ - Finish send screen, proceed to delete directory with id " + screen.id, LogLevel::developer);
    deleteBatches(screen);
    return;
  }
  const RetryPolicyException* exception = result.retryPolicyException();
  if (!exception) {
    // A connection error, an unauthorized upload or no request: the screen waits for a later pass.
    screenToSendCount_.fetch_sub(1);
    Logger::log("❌ Error sending screen: " + description(*result.error), LogLevel::developer);
    return;
  }
  switch (exception->policy) {
    case RetryPolicy::drop:
      deleteBatches(screen);
      screenToSendCount_.fetch_sub(1);
      Logger::log("❌ Error sending screen: " + exception->description, LogLevel::developer);
      break;
    case RetryPolicy::stop:
      if (isServiceOnline_.exchange(false)) {
        stoppedAt_ = queue_->now();
        Logger::log("❌ Unable to send screens: The service is currently offline", LogLevel::developer);
      }
      break;
    case RetryPolicy::retry:
      screenToSendCount_.fetch_sub(1);
      Logger::log("❌ Error sending screen: " + exception->description, LogLevel::developer);
      break;
  }
}

void UploadWorker::deleteBatches(const ScreenToSend& screen) {
  for (const auto& batchID : screen.batchesName) dataController_->deleteBatch(batchID);
}

}  // namespace obx
