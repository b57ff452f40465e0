// ImagePlaceholderBuilder: the image a screen shows when it may not or can't be recorded: a white page the
// size of the screen with the emblem and the reason's text, as a JPEG. Each reason and interface
// orientation is composed once and then read from the on-disk cache under "<reason number>-portrait" or
// "<reason number>-landscape". When the page can't be drawn, the built-in fallback picture stands in.
//
// createPlaceholder may be called from any thread; the work and the completion run on the main queue, as
// composing reads the application's screen and scenes.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/ui/geometry.h"
#include "session/placeholder_reason.h"
#include "session/rum_placeholder_providing.h"

namespace obx {

class CacheController;

class ImagePlaceholderBuilder : public RUMPlaceholderProviding {
 public:
  // JPEG bytes; absent only when neither the page nor the fallback could be had.
  using Completion = std::function<void(std::optional<std::string> jpegData)>;

  // `cacheController` null means no cache: every request composes its page.
  ImagePlaceholderBuilder(std::shared_ptr<CacheController> cacheController,
                          std::shared_ptr<platform::DispatchQueue> mainQueue);

  // Returns at once; the placeholder of `reason` is made on the main queue and handed to `completion`
  // there.
  void createPlaceholder(PlaceholderReason reason, Completion completion);
  // RUMPlaceholderProviding: the same as createPlaceholder.
  void placeholderImage(PlaceholderReason reason, Completion completion) override;

  // What createPlaceholder hands on, made at once. Main queue only.
  std::optional<std::string> placeholderData(PlaceholderReason reason) const;

  // "3-portrait", "0-landscape".
  static std::string cacheKey(PlaceholderReason reason, bool landscape);
  // The page for a screen of `screenSize` points, as a JPEG at quality 1.0: its size is the screen's,
  // halved when a side exceeds 1200 points, drawn at scale 0.5 then, else 1.0. Absent when it can't be
  // drawn (an empty or enormous screen). Any thread.
  static std::optional<std::string> composePlaceholder(PlaceholderReason reason, platform::Size screenSize);
  // The built-in 512 by 512 JPEG; absent if its bytes don't decode.
  static std::optional<std::string> fallbackPlaceholder();

 private:
  static std::optional<std::string> makePlaceholder(CacheController* cacheController, PlaceholderReason reason);

  std::shared_ptr<CacheController> cacheController_;
  std::shared_ptr<platform::DispatchQueue> mainQueue_;
};

}  // namespace obx
