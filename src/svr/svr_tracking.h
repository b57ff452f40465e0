// SVRTracking: the clock of session replay. While a screen is recorded a display link on the main
// queue ticks at the frame rate of the video quality and asks the screen's recorder for an image;
// the recorder decides whether one is due. A recorder that asks for the other kind gets it at once,
// for the rest of the screen. Finished images go on to `imagePublisher` (the core).
// A link that runs keeps its rate for the whole screen: a changed video quality takes effect at the
// next screen. After the first image of a screen, new images are asked for by the view change
// detector, which hears every layout of a view and passes on at most one per frame; its notice sets
// the recorder's `needNewImage` on "obx.ombrix.SVRTracking". While the device is stressed the ticks
// take no image: one placeholder of the first stress kind stands for the whole period, and is
// published once more as the stress ends.
//
// Made with `make`; the link and the recorder hold it weakly.
#pragma once

#include <atomic>
#include <mutex>
#include <memory>
#include <optional>
#include <vector>

#include "base/read_write_lock.h"
#include "lifecycle/device_measure.h"
#include "platform/dispatch/display_link.h"
#include "platform/dispatch/scheduler.h"
#include "session/image_placeholder_builder.h"
#include "svr/recording/screen_recording_hifi_mode.h"
#include "svr/recording/screen_recording_lofi_mode.h"
#include "svr/svr_configuration.h"
#include "svr/svr_view_change_detector.h"

namespace obx {

// Which recorders a tracking loop makes. `wireframeOnly`: every screen is drawn as a wireframe.
// `byMode`: a screen whose mode is `hiFi` (configured, or by `forceHiFi`) starts on the screenshot
// recorder, made at the first such screen, which hands the screen over to the wireframe one when
// the configuration or masking needs it; every other screen is a wireframe.
enum class ScreenRecorders { wireframeOnly, byMode };

class SVRTracking : public SVRImagePublisher, public std::enable_shared_from_this<SVRTracking> {
 public:
  // `imageCache` is the recorder's cache of rendered image views; the shared one when null.
  // Without `imagePlaceholderBuilder` a stressed device gives no placeholder, only no images.
  static std::shared_ptr<SVRTracking> make(std::shared_ptr<SVRConfiguration> configuration,
                                           std::shared_ptr<platform::Scheduler> scheduler,
                                           std::weak_ptr<SVRImagePublisher> imagePublisher,
                                           BitmapCache* imageCache = nullptr,
                                           std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder = nullptr,
                                           ScreenRecorders recorders = ScreenRecorders::wireframeOnly);
  ~SVRTracking() override;

  // Starts the images of a screen; `mode` absent means the configured one.
  void startScreen(const ViewContext& viewContext, std::optional<BatchContext> batch,
                   std::optional<SessionReplayMode> mode, std::optional<std::vector<MaskAutomatic>> masks,
                   bool forceMask);
  // A further batch of the same screen: stored here and on the recorder.
  void setBatch(std::optional<BatchContext> batch);
  // Invalidates the link, puts back the layout method the detector replaced and stops hearing it;
  // the next startScreen makes a new link and hooks the layouts again.
  void stop();
  // The tick, run by the display link on the main queue.
  void videoFrame();
  void publishImage(std::optional<ImageToParse> image) override;
  // The stress kinds of the last device measure, first one first; empty when the device is at ease.
  void setDeviceStressed(std::vector<DeviceStressedType> stress);
  // How the recorders learn, on the main thread, whether a screen is still the one on display.
  void setScreenOnDisplay(ScreenOnDisplay onDisplay);

  // The recorder of the present screen.
  ScreenRecordingMode& recorder() { return *recorder_.get(); }
  SVRViewChangeDetector& viewChangeDetector() { return *viewChangeDetector_; }
  SessionReplayMode sessionReplayMode() const { return sessionReplayMode_.get(); }
  // Frames per second of the running link, 0 when none runs.
  double runningFramesPerSecond() const;

 private:
  SVRTracking(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler,
              std::weak_ptr<SVRImagePublisher> imagePublisher);
  void invalidateDisplayLink();
  void createDisplayLinkIfAbsent();
  void recordNow();
  // `asking` asked for the other kind for the screen `screenID`: unless a screen started since,
  // the screen goes on with the other recorder at once.
  void changeRecorder(bool fromLoFi, const ScreenRecordingMode* asking, const std::string& screenID);
  // One placeholder for the first stress kind, unless one is already out.
  void stressPlaceholder();
  // `screen` counts the screens started: a placeholder asked for one is not published on the next.
  void stressPlaceholderArrived(std::optional<std::string> data, std::optional<BatchContext> batch,
                                std::uint64_t screen);
  // Hooks the layouts and subscribes to the detector, unless done already.
  void listenToLayerChanges();
  void stopListeningToLayerChanges();

  std::shared_ptr<SVRConfiguration> configuration_;
  std::shared_ptr<platform::Scheduler> scheduler_;
  ScreenRecorders recorders_ = ScreenRecorders::wireframeOnly;
  std::shared_ptr<ScreenRecordingLOFIMode> loFiRecorder_;
  // Made at the first screen in hiFi, if the loop was made `byMode`.
  std::shared_ptr<ScreenRecordingHIFIMode> hiFiRecorder_;
  ReadWriteLock<std::shared_ptr<ScreenRecordingMode>> recorder_{nullptr};
  // The start of a screen (replay queue) and a change of recorder (main queue) take it, so that
  // neither sees the other half done. Held only over the recorders' setters.
  std::mutex screenMutex_;
  std::uint64_t screenCount_ = 0;
  ScreenOnDisplay screenOnDisplay_;
  std::shared_ptr<ImagePlaceholderBuilder> imagePlaceholderBuilder_;
  std::shared_ptr<SVRViewChangeDetector> viewChangeDetector_;
  std::shared_ptr<platform::DispatchQueue> obxQueue_;
  ReadWriteLock<std::shared_ptr<LayerChangeObserverValue>> newChangeInLayer_{nullptr};
  std::weak_ptr<SVRImagePublisher> imagePublisher_;
  ReadWriteLock<SessionReplayMode> sessionReplayMode_{SessionReplayMode::loFi};
  ReadWriteLock<std::shared_ptr<platform::DisplayLink>> displayLink_{nullptr};
  ReadWriteLock<std::optional<BatchContext>> batchContext_{std::nullopt};
  ReadWriteLock<std::vector<DeviceStressedType>> isDeviceStressed_;
  ReadWriteLock<std::optional<ImageToParse>> stressedImage_{std::nullopt};
  // A stress placeholder is out, or asked for.
  std::atomic<bool> isRepeatedImage_{false};
};

}  // namespace obx
