#include "svr/recording/screen_recording_mode.h"

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

bool ScreenRecordingMode::mergePass() {
  auto userRects = userMaskedRects_.get();
  if (configurationMask_.get().empty() && userMaskedViews_.empty() && userRects.empty()) {
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

void ScreenRecordingMode::publish(std::optional<std::vector<std::uint8_t>> data) {
  if (!data) return;
  auto batch = batchContext_.get();
  if (!batch) return;
  ImageToParse image{std::move(*data), batch->viewContext.size, *batch, index_.load(), false};
  currentImage_.set(image);
  if (auto publisher = imagePublisher_.get().lock()) publisher->publishImage(std::move(image));
}

}  // namespace obx
