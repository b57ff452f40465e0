// ScreenRecording: a recorder of screen images, as the tracking loop drives it. For each screen the
// loop sets the batch, resets the counters and sets the masks and mode; then each tick calls
// `recordScreen`, and a seen layout change sets `needNewImage`. The setters may be called from the
// replay queues; `recordScreen` from the main thread's tick or the replay queue.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/batch_context.h"
#include "obx/enums.h"

namespace obx {

class ScreenRecording {
 public:
  // Booleans: whether the recorder type must change, and whether this is the wireframe recorder.
  using Completion = std::function<void(bool needChangeScreenRecorderType, bool isLoFi)>;

  virtual ~ScreenRecording() = default;
  // Takes an image when one is due: the test runs here, the capture on the main queue, the drawing
  // on the recorder's own queue. Width and height are the image size in points.
  virtual void recordScreen(double width, double height, Completion completion) = 0;
  virtual void incrementIndex() = 0;
  virtual void setConfigurationMask(std::vector<MaskAutomatic> masks) = 0;
  virtual void setCurrentSessionReplayMode(SessionReplayMode mode) = 0;
  virtual void setNeedNewImage(bool value) = 0;
  virtual std::int64_t index() const = 0;

  // The start of a screen.
  virtual void setBatchContext(std::optional<BatchContext> batch) = 0;
  virtual void setIndex(std::int64_t index) = 0;
  virtual void setImagesTaken(std::int64_t count) = 0;
  virtual void setForceMaskForCurrentScreen(bool value) = 0;
};

}  // namespace obx
