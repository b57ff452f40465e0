#include "svr/recording/screen_recording_mode.h"

#include "platform/ui/application.h"
#include "svr/recording/replay_rates.h"

namespace obx {

ScreenRecordingMode::ScreenRecordingMode(std::shared_ptr<SVRConfiguration> configuration,
                                         std::shared_ptr<platform::Scheduler> scheduler)
    : configuration_(std::move(configuration)),
      scheduler_(std::move(scheduler)),
      obxQueue_(platform::DispatchQueue::makeSerial(scheduler_, kSVRRecordQueueLabel)),
      lastImageTakenDate_(scheduler_->clock().now()) {}

void ScreenRecordingMode::setUserMaskedRects(std::vector<platform::Rect> rects) {
  std::vector<std::pair<platform::Rect, bool>> entries;
  for (const auto& rect : rects) entries.emplace_back(rect, false);
  userMaskedRects_.set(std::move(entries));
}

std::vector<platform::Rect> ScreenRecordingMode::userMaskedRects() const {
  std::vector<platform::Rect> rects;
  for (const auto& [rect, done] : userMaskedRects_.get()) rects.push_back(rect);
  return rects;
}

bool ScreenRecordingMode::mergePass(const std::vector<MaskAutomatic>& masks) {
  auto userRects = userMaskedRects_.get();
  // Maps and players are found whatever the categories: they are never let go here.
  if (masks.empty() && userMaskedViews_.empty() && userRects.empty() && maskedViews_.empty()) {
    maskedViews_.clear();
    maskedRects_.clear();
    return true;
  }
  if (maskedViews_.empty() && userMaskedViews_.empty() && maskedRects_.empty() && userRects.empty()) return false;
  viewsMasked_.insert(viewsMasked_.end(), maskedViews_.begin(), maskedViews_.end());
  maskedViews_.clear();
  for (auto& [view, done] : userMaskedViews_) viewsMasked_.push_back(view);
  userMaskedViews_.clear();
  dataMasked_.insert(dataMasked_.end(), maskedRects_.begin(), maskedRects_.end());
  maskedRects_.clear();
  for (const auto& [rect, done] : userRects) dataMasked_.push_back(rect);
  return true;
}

double ScreenRecordingMode::secondsSinceLastImage() const { return now() - lastImageTakenDate_.load(); }

void ScreenRecordingMode::imageTaken() {
  lastImageTakenDate_ = now();
  ++imagesTaken_;
}

std::optional<Capture> ScreenRecordingMode::beginCapture(bool oneMore) {
  if (!enabledSessionRecording_) return std::nullopt;
  if (!needNewImage_) {
    Common common = configuration_->common();
    if (!(secondsSinceLastImage() > 1.0 / framesPerSecond(common.videoQualityType))) return std::nullopt;
    // Images still being drawn count: a slow drawing must not let the clock ask for one more.
    std::int64_t counted = imagesTaken_ + inFlight_->load();
    if (oneMore ? counted > common.imageTakenWhenScreenStart : counted >= common.imageTakenWhenScreenStart) {
      return std::nullopt;
    }
  }
  needNewImage_ = false;
  inFlight_->fetch_add(1);
  std::shared_ptr<std::atomic<int>> counter = inFlight_;
  return Capture{screen_.get(), std::shared_ptr<void>(nullptr, [counter](void*) { counter->fetch_sub(1); })};
}

bool ScreenRecordingMode::isCurrent(const Capture& capture) const {
  auto current = screen_.get().batch;
  return capture.screen.batch && current &&
         current->viewContext.screenID == capture.screen.batch->viewContext.screenID;
}

bool ScreenRecordingMode::mayCapture(const Capture& capture) const {
  if (!isCurrent(capture)) return false;
  if (platform::Application::shared()->applicationState() == platform::ApplicationState::background) return false;
  auto onDisplay = screenOnDisplay_.get();
  return !onDisplay || onDisplay(capture.screen.batch->viewContext.screenID);
}

platform::Color ScreenRecordingMode::maskingColor() const {
  Color color = configuration_->common().maskingColor;
  return platform::Color{color.red, color.green, color.blue, 1.0};
}

void ScreenRecordingMode::publish(const Capture& capture, std::optional<std::vector<std::uint8_t>> data) {
  if (!data) return;
  const auto& batch = capture.screen.batch;
  if (!batch) return;
  ImageToParse image{std::move(*data), batch->viewContext.size, *batch, index_.load(), false};
  currentImage_.set(image);
  if (auto publisher = imagePublisher_.get().lock()) publisher->publishImage(std::move(image));
}

}  // namespace obx
