// ScreenRecordingMode: the state both recorders share for one screen: masks and mode, the counters
// and dates of the due test, the masked views and rectangles of a pass and their merge, the batch,
// and the publication of a finished image. Its own serial queue, "obx.ombrix.feature.SVR.record",
// does the drawing.
//
// Threads: the setters run on the replay queues, the pass on the main thread, the drawing on the
// record queue. Flags and counters are atomics that may be read one tick late; the lists of a pass
// are handed to the drawing by value.
//
// A capture carries the screen it was asked for (its batch, masks and mode, taken together when the
// due test passes), so a screen that starts meanwhile never lends it its masks or its batch. A
// capture whose screen is no longer the recorder's, or no longer on display, is dropped.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it
#include <optional>
#include <string>
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

// What the recorder is set for: one screen's batch, masks and mode, replaced as a whole.
struct RecordedScreen {
  std::optional<BatchContext> batch;
  std::vector<MaskAutomatic> masks;
  bool forceMask = false;
  SessionReplayMode mode = SessionReplayMode::automatic;
};

// One capture on its way from the due test to the publication. Until it is destroyed it counts as
// an image in flight for the due test.
struct Capture {
  RecordedScreen screen;
  std::shared_ptr<void> inFlight;
};

// Main thread: whether the screen of this ID is the one on display now.
using ScreenOnDisplay = std::function<bool(const std::string& screenID)>;

class ScreenRecordingMode : public ScreenRecording {
 public:
  ScreenRecordingMode(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler);
  ~ScreenRecordingMode() override = default;

  void incrementIndex() override { ++index_; }
  void setConfigurationMask(std::vector<MaskAutomatic> masks) override {
    screen_.mutate([&](RecordedScreen& screen) { screen.masks = std::move(masks); });
  }
  void setCurrentSessionReplayMode(SessionReplayMode mode) override {
    screen_.mutate([&](RecordedScreen& screen) { screen.mode = mode; });
  }
  void setNeedNewImage(bool value) override { needNewImage_ = value; }
  std::int64_t index() const override { return index_; }
  void setBatchContext(std::optional<BatchContext> batch) override {
    screen_.mutate([&](RecordedScreen& screen) { screen.batch = std::move(batch); });
  }
  void setIndex(std::int64_t index) override { index_ = index; }
  void setImagesTaken(std::int64_t count) override { imagesTaken_ = count; }
  void setForceMaskForCurrentScreen(bool value) override {
    screen_.mutate([&](RecordedScreen& screen) { screen.forceMask = value; });
  }
  // Sets the batch, masks and mode of a screen at once, so that no capture sees half of them.
  void setScreen(RecordedScreen screen) { screen_.set(std::move(screen)); }
  RecordedScreen screen() const { return screen_.get(); }
  // Main thread; the shown screen is not checked when none is set.
  void setScreenOnDisplay(ScreenOnDisplay onDisplay) { screenOnDisplay_.set(std::move(onDisplay)); }

  std::vector<MaskAutomatic> configurationMask() const { return screen_.get().masks; }
  SessionReplayMode currentSessionReplayMode() const { return screen_.get().mode; }
  bool needNewImage() const { return needNewImage_; }
  bool forceMaskForCurrentScreen() const { return screen_.get().forceMask; }
  std::int64_t imagesTaken() const { return imagesTaken_; }
  bool enabledSessionRecording() const { return enabledSessionRecording_; }
  void setEnabledSessionRecording(bool value) { enabledSessionRecording_ = value; }
  std::optional<BatchContext> batchContext() const { return screen_.get().batch; }
  std::optional<ImageToParse> currentImage() const { return currentImage_.get(); }
  // Rectangles the application asked to block on this screen; they hold for every image of it.
  void setUserMaskedRects(std::vector<platform::Rect> rects);
  std::vector<platform::Rect> userMaskedRects() const;
  // The image publisher is held weakly.
  void setImagePublisher(std::weak_ptr<SVRImagePublisher> publisher) { imagePublisher_.set(std::move(publisher)); }
  const std::shared_ptr<platform::DispatchQueue>& obxQueue() const { return obxQueue_; }

  // The merge of a pass under the masks of its screen: the views and rectangles found move to
  // `viewsMasked` and `dataMasked`. False when there is nothing to mask although masks were asked
  // for. Main thread.
  bool mergePass(const std::vector<MaskAutomatic>& masks);
  const std::vector<platform::Rect>& dataMasked() const { return dataMasked_; }
  const std::vector<std::shared_ptr<platform::View>>& viewsMasked() const { return viewsMasked_; }

 protected:
  // The due test of both recorders: a seen change, or the clock while fewer images than the
  // opening quota are taken or in flight (`oneMore`: up to the quota itself). Gives the capture,
  // which carries the screen as it stands now. Caller's thread.
  std::optional<Capture> beginCapture(bool oneMore);
  // Main thread, before reading views: the capture's screen is still the recorder's and on
  // display, and the application is in the foreground.
  bool mayCapture(const Capture& capture) const;
  // Whether the capture's screen is still the one the recorder is set for.
  bool isCurrent(const Capture& capture) const;
  // Builds and publishes the image of the capture's screen with the recorder's index; absent
  // data publishes nothing.
  void publish(const Capture& capture, std::optional<std::vector<std::uint8_t>> data);
  // For the recorders' due tests.
  double secondsSinceLastImage() const;
  // Sets the date of the last image to now and counts it, failed or not.
  void imageTaken();
  // The masking colour, always opaque: a block must hide what lies under it.
  platform::Color maskingColor() const;
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
  ReadWriteLock<RecordedScreen> screen_;
  ReadWriteLock<ScreenOnDisplay> screenOnDisplay_;
  std::shared_ptr<std::atomic<int>> inFlight_ = std::make_shared<std::atomic<int>>(0);
  std::vector<platform::Rect> dataMasked_;
  std::vector<std::shared_ptr<platform::View>> viewsMasked_;
  std::vector<std::shared_ptr<platform::View>> maskedViews_;
  std::vector<std::pair<std::shared_ptr<platform::View>, bool>> userMaskedViews_;
  std::vector<platform::Rect> maskedRects_;
  ReadWriteLock<std::vector<std::pair<platform::Rect, bool>>> userMaskedRects_;
  std::atomic<platform::Date> lastImageTakenDate_;
  std::atomic<std::int64_t> imagesTaken_{0};
  std::atomic<std::int64_t> index_{0};
  ReadWriteLock<std::weak_ptr<SVRImagePublisher>> imagePublisher_;
  ReadWriteLock<std::optional<ImageToParse>> currentImage_;
};

}  // namespace obx
