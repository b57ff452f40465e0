// ScreenRecordingHIFIMode: the screenshot recorder. On the main thread it scans the key window for
// the views the masks cover; when the screen needs masking and the mode allows a change, it asks the
// loop for the wireframe recorder instead of drawing. Otherwise it draws the window into a bitmap and
// paints a rounded block over each masked view and each rectangle the application asked to block,
// then codes the JPEG on its own queue.
//
// Maps and video players are blocked whatever categories are set. The masked views are held only
// for the pass that found them. The window is drawn on the main thread, where views may be read. The masked views' on-screen
// rectangles are taken before and after the draw; a view that moved meanwhile (an animation in
// flight) makes the frame untrustworthy, so it is dropped and the next tick tries again.
//
// Made with `make`; its queued work holds it weakly.
#pragma once

#include <memory>
#include <vector>

#include "platform/graphics/bitmap.h"
#include "platform/ui/window.h"
#include "svr/recording/screen_recording_mode.h"

namespace obx {

class ScreenRecordingHIFIMode : public ScreenRecordingMode,
                                public std::enable_shared_from_this<ScreenRecordingHIFIMode> {
 public:
  static std::shared_ptr<ScreenRecordingHIFIMode> make(std::shared_ptr<SVRConfiguration> configuration,
                                                       std::shared_ptr<platform::Scheduler> scheduler);

  void recordScreen(double width, double height, Completion completion) override;

  // The rectangles of `views` in window coordinates as the screen shows them now, from the
  // presentation frames of each view and its ancestors, as the window is drawn; a view without a
  // superview gives none.
  static std::vector<platform::Rect> maskRectangles(const std::vector<std::shared_ptr<platform::View>>& views);

  // One main-thread pass without the queue hops, for the benchmarks: the scan, and unless the
  // recorder must change, the drawing. Null when no image came of it.
  std::shared_ptr<const platform::Bitmap> captureForBenchmark(const std::shared_ptr<platform::Window>& window, double width,
                                                              double height);

 private:
  ScreenRecordingHIFIMode(std::shared_ptr<SVRConfiguration> configuration, std::shared_ptr<platform::Scheduler> scheduler);
  void mainQueuePass(const Capture& capture, double width, double height, const Completion& completion);
  void scan(const std::shared_ptr<platform::View>& view, bool parentMasked, const RecordedScreen& screen);
  bool marks(const platform::View& view, bool parentMasked, const std::vector<MaskAutomatic>& masks) const;
  void markForChange(SessionReplayMode mode);
  // The window with its blocks, or null when there was no context or, with `moved` set, when a
  // masked view moved while the window was drawn.
  std::shared_ptr<const platform::Bitmap> drawWindow(const platform::Window& window, double width, double height,
                                                     bool& moved);
  void encodeAndReport(const Capture& capture, std::shared_ptr<const platform::Bitmap> image);
  void report(const Capture& capture, std::optional<std::vector<std::uint8_t>> data);
};

}  // namespace obx
