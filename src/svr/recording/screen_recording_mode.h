// ScreenRecordingMode: the state both recorders share for one screen: masks and mode, the counters
// and dates of the due test, the masked views and rectangles of a pass and their merge, the batch,
// and the publication of a finished image. Its own serial queue, "obx.ombrix.feature.SVR.record",
// does the drawing.
//
// Threads: the setters run on the replay queues, the pass on the main thread, the drawing on the
// record queue. Flags and counters are atomics that may be read one tick late; the lists of a pass
// are handed to the drawing by value.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it
#include <optional>
#include <utility>
#include <vector>

#include "base/read_write_lock.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/scheduler.h"
#include "platform/ui/view.h"
#include "svr/recording/image_to_parse.h"
#include "svr/recording/screen_recording.h"
#include "svr/recording/svr_image_publisher.h"
#include "svr/svr_configuration.h"

namespace obx {

inline constexpr const char* kSVRRecordQueueLabel = "obx.ombrix.feature.SVR.record";

class ScreenRecordingMode : public ScreenRecording {
 public:
  ScreenRecordingMode(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler);
  ~ScreenRecordingMode() override = default;

  void incrementIndex() override { ++index_; }
  void setConfigurationMask(std::vector<MaskAutomatic> masks) override { configurationMask_.set(std::move(masks)); }
  void setCurrentSessionReplayMode(SessionReplayMode mode) override { currentSessionReplayMode_ = mode; }
  void setNeedNewImage(bool value) override { needNewImage_ = value; }
  std::int64_t index() const override { return index_; }
  void setBatchContext(std::optional<BatchContext> batch) override { batchContext_.set(std::move(batch)); }
  void setIndex(std::int64_t index) override { index_ = index; }
  void setImagesTaken(std::int64_t count) override { imagesTaken_ = count; }
  void setForceMaskForCurrentScreen(bool value) override { forceMaskForCurrentScreen_ = value; }

  std::vector<MaskAutomatic> configurationMask() const { return configurationMask_.get(); }
  SessionReplayMode currentSessionReplayMode() const { return currentSessionReplayMode_; }
  bool needNewImage() const { return needNewImage_; }
  bool forceMaskForCurrentScreen() const { return forceMaskForCurrentScreen_; }
  std::int64_t imagesTaken() const { return imagesTaken_; }
  bool enabledSessionRecording() const { return enabledSessionRecording_; }
  void setEnabledSessionRecording(bool value) { enabledSessionRecording_ = value; }
  std::optional<BatchContext> batchContext() const { return batchContext_.get(); }
  std::optional<ImageToParse> currentImage() const { return currentImage_.get(); }
  // Rectangles the application asked to block on this screen; they hold for every image of it.
  void setUserMaskedRects(std::vector<platform::Rect> rects);
  std::vector<platform::Rect> userMaskedRects() const;
  // The image publisher is held weakly.
  void setImagePublisher(std::weak_ptr<SVRImagePublisher> publisher) { imagePublisher_.set(std::move(publisher)); }
  const std::shared_ptr<platform::DispatchQueue>& obxQueue() const { return obxQueue_; }

  // The merge of a pass: the views and rectangles found move to `viewsMasked` and `dataMasked`.
  // False when there is nothing to mask although masks were asked for. Main thread.
  bool mergePass();
  const std::vector<platform::Rect>& dataMasked() const { return dataMasked_; }
  const std::vector<std::shared_ptr<platform::View>>& viewsMasked() const { return viewsMasked_; }

 protected:
  // Builds and publishes the image with the recorder's index; absent data publishes nothing.
  void publish(std::optional<std::vector<std::uint8_t>> data);
  // For the recorders' due tests.
  double secondsSinceLastImage() const;
  // Sets the date of the last image to now and counts it, failed or not.
  void imageTaken();
  platform::Date now() const { return scheduler_->clock().now(); }
  void emptyPassLists() {
    dataMasked_.clear();
    viewsMasked_.clear();
  }
  std::vector<std::shared_ptr<platform::View>>& maskedViews() { return maskedViews_; }
  std::vector<platform::Rect>& maskedRects() { return maskedRects_; }
  std::vector<std::pair<std::shared_ptr<platform::View>, bool>>& userMaskedViews() { return userMaskedViews_; }

  std::shared_ptr<SVRConfiguration> configuration_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<platform::DispatchQueue> obxQueue_;
  std::atomic<bool> needNewImage_{true};
  std::atomic<bool> enabledSessionRecording_{true};
  std::atomic<bool> needChangeScreenRecorderType_{false};

 private:
  ReadWriteLock<std::vector<MaskAutomatic>> configurationMask_;
  std::atomic<SessionReplayMode> currentSessionReplayMode_{SessionReplayMode::automatic};
  std::vector<platform::Rect> dataMasked_;
  std::vector<std::shared_ptr<platform::View>> viewsMasked_;
  std::vector<std::shared_ptr<platform::View>> maskedViews_;
  std::vector<std::pair<std::shared_ptr<platform::View>, bool>> userMaskedViews_;
  std::vector<platform::Rect> maskedRects_;
  ReadWriteLock<std::vector<std::pair<platform::Rect, bool>>> userMaskedRects_;
  std::atomic<platform::Date> lastImageTakenDate_;
  std::atomic<std::int64_t> imagesTaken_{0};
  ReadWriteLock<std::optional<BatchContext>> batchContext_;
  std::atomic<std::int64_t> index_{0};
  ReadWriteLock<std::weak_ptr<SVRImagePublisher>> imagePublisher_;
  ReadWriteLock<std::optional<ImageToParse>> currentImage_;
  std::atomic<bool> forceMaskForCurrentScreen_{false};
};

}  // namespace obx
