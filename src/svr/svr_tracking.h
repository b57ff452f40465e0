// SVRTracking: the clock of session replay. While a screen is recorded a display link on the main
// queue ticks at the frame rate of the video quality and asks the wireframe recorder for an image;
// the recorder decides whether one is due. Finished images go on to `imagePublisher` (the core).
// A link that runs keeps its rate for the whole screen: a changed video quality takes effect at the
// next screen.
//
// Made with `make`; the link and the recorder hold it weakly.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "base/read_write_lock.h"
#include "platform/dispatch/display_link.h"
#include "platform/dispatch/scheduler.h"
#include "svr/recording/screen_recording_lofi_mode.h"
#include "svr/svr_configuration.h"

namespace obx {

class SVRTracking : public SVRImagePublisher, public std::enable_shared_from_this<SVRTracking> {
 public:
  // `imageCache` is the recorder's cache of rendered image views; the shared one when null.
  static std::shared_ptr<SVRTracking> make(std::shared_ptr<SVRConfiguration> configuration,
                                           std::shared_ptr<platform::Scheduler> scheduler,
                                           std::weak_ptr<SVRImagePublisher> imagePublisher,
                                           BitmapCache* imageCache = nullptr);
  ~SVRTracking() override;

  // Starts the images of a screen; `mode` absent means the configured one.
  void startScreen(const ViewContext& viewContext, std::optional<BatchContext> batch,
                   std::optional<SessionReplayMode> mode, std::optional<std::vector<MaskAutomatic>> masks,
                   bool forceMask);
  // A further batch of the same screen: stored here and on the recorder.
  void setBatch(std::optional<BatchContext> batch);
  // Invalidates the link; the next startScreen makes a new one.
  void stop();
  // The tick, run by the display link on the main queue.
  void videoFrame();
  void publishImage(std::optional<ImageToParse> image) override;

  ScreenRecordingLOFIMode& recorder() { return *recorder_; }
  SessionReplayMode sessionReplayMode() const { return sessionReplayMode_.get(); }
  // Frames per second of the running link, 0 when none runs.
  double runningFramesPerSecond() const;

 private:
  SVRTracking(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler,
              std::weak_ptr<SVRImagePublisher> imagePublisher);
  void invalidateDisplayLink();
  void createDisplayLinkIfAbsent();
  void recordNow();

  std::shared_ptr<SVRConfiguration> configuration_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<ScreenRecordingLOFIMode> recorder_;
  std::weak_ptr<SVRImagePublisher> imagePublisher_;
  ReadWriteLock<SessionReplayMode> sessionReplayMode_{SessionReplayMode::loFi};
  ReadWriteLock<std::shared_ptr<platform::DisplayLink>> displayLink_{nullptr};
  ReadWriteLock<std::optional<BatchContext>> batchContext_{std::nullopt};
};

}  // namespace obx
