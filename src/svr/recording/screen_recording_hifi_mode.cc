#include "svr/recording/screen_recording_hifi_mode.h"

#include <algorithm>

#include "base/logger.h"
#include "lifecycle/view_properties.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/image_context.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/map_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/web_view.h"
#include "svr/recording/mask_rule.h"
#include "svr/recording/replay_rates.h"

namespace obx {

using platform::Rect;
using platform::View;

namespace {
constexpr double kBlockCornerRadius = 5.0;
const platform::Color kWhite{1, 1, 1, 1};

bool has(const std::vector<MaskAutomatic>& masks, MaskAutomatic mask) {
  return std::find(masks.begin(), masks.end(), mask) != masks.end();
}

bool isPlayer(const View& view) {
  return platform::stringFromClass(view.getClass()).find(kPlayerViewMarker) != std::string::npos;
}

// Text drawn by the view itself: a label, or contents that are a backing store or a tinted template.
bool drawsText(const View& view) {
  if (view.isKindOfClass(platform::Label::runtimeClass())) return true;
  const auto& contents = view.layer()->contents();
  return contents &&
         (contents->kind() == platform::BitmapKind::backingStore || contents->kind() == platform::BitmapKind::tintedImage);
}

bool showsImage(const View& view) {
  return view.isKindOfClass(platform::ImageView::runtimeClass()) ||
         std::string_view(view.layer()->className()).find("ImageLayer") != std::string_view::npos;
}
}  // namespace

std::shared_ptr<ScreenRecordingHIFIMode> ScreenRecordingHIFIMode::make(std::shared_ptr<SVRConfiguration> configuration,
                                                                       std::shared_ptr<platform::Scheduler> scheduler) {
  return std::shared_ptr<ScreenRecordingHIFIMode>(new ScreenRecordingHIFIMode(std::move(configuration), std::move(scheduler)));
}

ScreenRecordingHIFIMode::ScreenRecordingHIFIMode(std::shared_ptr<SVRConfiguration> configuration,
                                                 std::shared_ptr<platform::Scheduler> scheduler)
    : ScreenRecordingMode(std::move(configuration), std::move(scheduler)) {}

void ScreenRecordingHIFIMode::recordScreen(double width, double height, Completion completion) {
  // One image more than the wireframe recorder: greater, not greater or equal.
  auto capture = beginCapture(true);
  if (!capture) return;
  std::weak_ptr<ScreenRecordingHIFIMode> weak = weak_from_this();
  scheduler_->mainQueue()->async([weak, capture = std::move(*capture), width, height, completion = std::move(completion)] {
    if (auto self = weak.lock()) self->mainQueuePass(capture, width, height, completion);
  });
}

void ScreenRecordingHIFIMode::mainQueuePass(const Capture& capture, double width, double height,
                                            const Completion& completion) {
  auto window = platform::Application::shared()->keyWindow();
  if (!window || !mayCapture(capture)) return;
  needChangeScreenRecorderType_ = configuration_->common().sessionReplayMode == SessionReplayMode::loFi;
  // The probe of a context, without the cost of clearing a full-screen bitmap that is not used.
  if (!platform::BitmapContext::canMake(captureCanvasSize({width, height}), mainScreenDrawingScale())) return;
  // The lists of the last image are emptied here, on the thread that fills them.
  emptyPassLists();
  maskedRects().clear();
  maskedViews().clear();
  scan(window, false, capture.screen);
  mergePass(capture.screen.masks);
  bool change = needChangeScreenRecorderType_;
  if (completion) completion(change, false);
  if (change) {
    emptyPassLists();
    return;
  }

  bool moved = false;
  auto image = drawWindow(*window, width, height, moved);
  // No masked view outlives its screen through this recorder.
  emptyPassLists();
  std::weak_ptr<ScreenRecordingHIFIMode> weak = weak_from_this();
  obxQueue_->async([weak, capture, image = std::move(image), moved] {
    auto self = weak.lock();
    if (!self) return;
    if (moved) {
      const auto& batch = capture.screen.batch;
      Logger::log("view " + (batch ? batch->viewContext.name : std::string("unknown")) + " with wrong masking coordinates",
                  LogLevel::qa);
    }
    self->encodeAndReport(capture, image);
  });
}

void ScreenRecordingHIFIMode::markForChange(SessionReplayMode mode) {
  if (mode == SessionReplayMode::loFi || mode == SessionReplayMode::automatic) needChangeScreenRecorderType_ = true;
}

void ScreenRecordingHIFIMode::scan(const std::shared_ptr<View>& view, bool parentMasked, const RecordedScreen& screen) {
  if (obxMasking(*view) == MaskView::mask) {
    markForChange(screen.mode);
    userMaskedViews().emplace_back(view, false);
  }
  const bool noMasks = screen.masks.empty();
  // The scan goes on below a masked view: a user-masked view further down is still found.
  for (const auto& subview : view->subviews()) {
    if (subview->isHidden() || !(subview->alpha() > 0)) continue;
    bool masked = parentMasked;
    const bool player = isPlayer(*subview);
    if (player || subview->isKindOfClass(platform::MapView::runtimeClass())) {
      // A map or a video shows what no category describes: it is blocked whatever is set, and a
      // player's subtree with it.
      if (noMasks && player) needChangeScreenRecorderType_ = true;
      markForChange(screen.mode);
      maskedViews().push_back(subview);
      masked = masked || player;
    } else if (!noMasks && marks(*subview, parentMasked, screen.masks)) {
      markForChange(screen.mode);
      maskedViews().push_back(subview);
    }
    scan(subview, masked, screen);
  }
}

bool ScreenRecordingHIFIMode::marks(const View& view, bool parentMasked, const std::vector<MaskAutomatic>& masks) const {
  if (obxMasking(view) == MaskView::unmask) return false;
  if ((has(masks, MaskAutomatic::images) || parentMasked) && showsImage(view)) return true;
  if ((has(masks, MaskAutomatic::inputs) || parentMasked) &&
      (view.isKindOfClass(platform::TextField::runtimeClass()) || view.isKindOfClass(platform::TextView::runtimeClass()))) {
    return true;
  }
  if ((has(masks, MaskAutomatic::labels) || parentMasked) && drawsText(view)) return true;
  if ((has(masks, MaskAutomatic::webViews) || parentMasked) && MaskRule::isWeb(view)) return true;
  return false;
}

std::vector<Rect> ScreenRecordingHIFIMode::maskRectangles(const std::vector<std::shared_ptr<View>>& views) {
  std::vector<Rect> rects;
  rects.reserve(views.size());
  for (const auto& view : views) {
    auto superview = view->superview();
    if (!superview) continue;
    // Each level where the screen shows it: the presentation frame of the view and of every
    // ancestor under the window, less the scrolled origin of each parent.
    Rect rect = view->presentationFrame();
    for (auto parent = superview; parent; parent = parent->superview()) {
      rect.origin.x -= parent->bounds().origin.x;
      rect.origin.y -= parent->bounds().origin.y;
      if (!parent->superview()) break;
      rect.origin.x += parent->presentationFrame().origin.x;
      rect.origin.y += parent->presentationFrame().origin.y;
    }
    rects.push_back(rect);
  }
  return rects;
}

std::shared_ptr<const platform::Bitmap> ScreenRecordingHIFIMode::drawWindow(const platform::Window& window, double width,
                                                                            double height, bool& moved) {
  moved = false;
  // The whole screen, in its own points, at the drawing scale: a large screen is drawn whole at half
  // scale, into an image of the halved size.
  platform::beginImageContextWithOptions(captureCanvasSize({width, height}), true, mainScreenDrawingScale());
  auto* context = platform::currentContext();
  if (context == nullptr) return nullptr;
  const auto& views = viewsMasked();
  std::vector<Rect> before = maskRectangles(views);
  window.drawViewHierarchyInRect(window.layer()->frame(), false);
  if (maskRectangles(views) != before) {
    moved = true;
    platform::endImageContext();
    return nullptr;
  }
  const platform::Color fill = maskingColor();
  auto paint = [&](const Rect& rect) {
    context->addPath(platform::BezierPath::roundedRect(rect, kBlockCornerRadius));
    context->setLineWidth(1.0);
    context->setFillColor(fill);
    context->setStrokeColor(kWhite);
    context->drawPath(platform::PathDrawingMode::fillStroke);
  };
  for (const auto& rect : before) paint(rect);
  for (const auto& rect : dataMasked()) paint(rect);
  auto image = platform::imageFromCurrentImageContext();
  platform::endImageContext();
  return image;
}

void ScreenRecordingHIFIMode::encodeAndReport(const Capture& capture, std::shared_ptr<const platform::Bitmap> image) {
  // A screen started since the pass: this screenshot is of no screen the recorder serves.
  if (!isCurrent(capture)) return;
  std::optional<std::vector<std::uint8_t>> data;
  if (image) data = platform::jpegRepresentation(*image, jpegCompressionQuality(configuration_->common().imageQualityType));
  report(capture, std::move(data));
  if (!image) return;
  const auto& batch = capture.screen.batch;
  Logger::log("Create image of screen in HiFi screenID: " + (batch ? batch->viewContext.screenID : std::string()),
              LogLevel::developer);
}

void ScreenRecordingHIFIMode::report(const Capture& capture, std::optional<std::vector<std::uint8_t>> data) {
  imageTaken();
  if (!data) {
    const auto& batch = capture.screen.batch;
    Logger::log("screenshot " + (batch ? batch->viewContext.name : std::string("nil")) + " failed with nil value",
                LogLevel::qa);
    return;
  }
  publish(capture, std::move(data));
}

std::shared_ptr<const platform::Bitmap> ScreenRecordingHIFIMode::captureForBenchmark(
    const std::shared_ptr<platform::Window>& window, double width, double height) {
  emptyPassLists();
  maskedRects().clear();
  maskedViews().clear();
  needChangeScreenRecorderType_ = false;
  RecordedScreen current = screen();
  scan(window, false, current);
  mergePass(current.masks);
  if (needChangeScreenRecorderType_) return nullptr;
  bool moved = false;
  auto image = drawWindow(*window, width, height, moved);
  emptyPassLists();
  return image;
}

}  // namespace obx
