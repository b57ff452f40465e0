#include "svr/recording/screen_recording_lofi_mode.h"

#include "base/logger.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/image_context.h"
#include "platform/ui/application.h"
#include "platform/ui/image_view.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/visual_effect_view.h"
#include "platform/ui/window.h"
#include "svr/recording/replay_rates.h"

namespace obx {

using platform::Layer;
using platform::View;

namespace {
constexpr double kBlockCornerRadius = 5.0;
constexpr double kTextBlockCornerRatio = 0.1;
const platform::Color kWhite{1, 1, 1, 1};

}  // namespace

struct ScreenRecordingLOFIMode::Walk {
  MaskRule rule;
  platform::Color maskingColor;
  bool force;
  std::vector<platform::Rect>& opaqueBlocks;
};

std::shared_ptr<ScreenRecordingLOFIMode> ScreenRecordingLOFIMode::make(std::shared_ptr<SVRConfiguration> configuration,
                                                                       std::shared_ptr<platform::Scheduler> scheduler,
                                                                       BitmapCache* imageCache) {
  return std::shared_ptr<ScreenRecordingLOFIMode>(
      new ScreenRecordingLOFIMode(std::move(configuration), std::move(scheduler), imageCache));
}

ScreenRecordingLOFIMode::ScreenRecordingLOFIMode(std::shared_ptr<SVRConfiguration> configuration,
                                                 std::shared_ptr<platform::Scheduler> scheduler, BitmapCache* imageCache)
    : ScreenRecordingMode(std::move(configuration), std::move(scheduler)),
      imageCache_(imageCache ? imageCache : &BitmapCache::shared()) {}

void ScreenRecordingLOFIMode::recordScreen(double width, double height, Completion completion) {
  auto capture = beginCapture(false);
  if (!capture) return;
  std::weak_ptr<ScreenRecordingLOFIMode> weak = weak_from_this();
  scheduler_->mainQueue()->async([weak, capture = std::move(*capture), width, height, completion = std::move(completion)] {
    if (auto self = weak.lock()) self->mainQueuePass(capture, width, height, completion);
  });
}

void ScreenRecordingLOFIMode::mainQueuePass(const Capture& capture, double width, double height,
                                            const Completion& completion) {
  auto window = platform::Application::shared()->keyWindow();
  if (!window || !mayCapture(capture)) return;
  // The lists of the last image are emptied here, on the thread that fills them.
  emptyPassLists();
  maskedRects().clear();
  maskedViews().clear();
  mergePass(capture.screen.masks);
  // The probe of a context: a bitmap of this size and scale can be had. Allocating one here would
  // cost the main thread a full-screen clear for nothing.
  if (!platform::BitmapContext::canMake(captureCanvasSize({width, height}), mainScreenDrawingScale())) return;
  Wireframe wireframe = buildWireframe(*window, capture.screen);
  needChangeScreenRecorderType_ = false;
  if (completion) completion(false, true);
  std::vector<platform::Rect> rects = std::move(wireframe.opaqueBlocks);
  rects.insert(rects.end(), dataMasked().begin(), dataMasked().end());
  // The hash is taken on the record queue, where it is compared: the main thread only walks.
  std::weak_ptr<ScreenRecordingLOFIMode> weak = weak_from_this();
  obxQueue_->async([weak, capture, node = std::move(wireframe.node), root = std::move(wireframe.root),
                    rects = std::move(rects), width, height] {
    if (auto self = weak.lock()) self->draw(capture, node.hash(), root, rects, width, height);
  });
}

Wireframe ScreenRecordingLOFIMode::buildWireframe(const View& window, const RecordedScreen& screen) {
  Wireframe wireframe;
  Walk walk{MaskRule(screen.masks, screen.forceMask), maskingColor(), screen.forceMask, wireframe.opaqueBlocks};
  wireframe.root = std::make_shared<Layer>();
  wireframe.root->setFrame(window.frame());
  wireframe.root->setBackgroundColor(window.layer()->backgroundColor());
  wireframe.node = Node(window.debugDescription());
  walkLevel(window, *wireframe.root, MaskView::automatic, wireframe.node, walk, window.alpha(), false);
  return wireframe;
}

void ScreenRecordingLOFIMode::walkLevel(const View& view, Layer& parentLayer, MaskView state, Node& node, Walk& walk,
                                        double opacity, bool inRenderedContent) {
  const auto& subviews = view.subviews();
  node.subNodes().reserve(subviews.size());
  // The last layer made at this level; a player's subviews attach to it, or to a detached layer
  // when the player comes first (made only then).
  std::shared_ptr<Layer> current;
  for (const auto& subview : subviews) {
    MaskDecision decision = walk.rule.decide(*subview, state);
    if (decision.outcome == MaskOutcome::skip) continue;
    if (decision.setMaskOnView) setObxMasking(*subview, MaskView::mask);
    const double shown = opacity * subview->alpha();
    const bool block = decision.outcome == MaskOutcome::inputBlock ||
                       (decision.outcome == MaskOutcome::content && !decision.showContent);
    if (block && (shown < 1.0 || inRenderedContent)) {
      walk.opaqueBlocks.push_back(view.convertRectToView(subview->frame(), nullptr));
    }
    if (decision.outcome != MaskOutcome::player) {
      current = layerFor(*subview, decision, walk);
      parentLayer.addSublayer(current);
    } else if (!current) {
      current = std::make_shared<Layer>();
    }
    if (!decision.descend) continue;
    // An image view and a web view show a render of their whole subtree: what lies below them is
    // in their pixels already.
    const bool rendersSubtree = decision.outcome == MaskOutcome::content && decision.showContent &&
                                ((decision.kind == ContentKind::image && decision.kinds.image) || decision.kinds.web);
    Node& child = node.subNodes().emplace_back(subview->debugDescription());
    walkLevel(*subview, *current, decision.state, child, walk, shown, inRenderedContent || rendersSubtree);
  }
}

std::shared_ptr<Layer> ScreenRecordingLOFIMode::layerFor(const View& view, const MaskDecision& decision, Walk& walk) {
  std::shared_ptr<Layer> layer;
  switch (decision.outcome) {
    case MaskOutcome::inputBlock:
      layer = std::make_shared<Layer>();
      layerCopy(view, *layer);
      layer->setOpacity(1.0);
      layer->setBackgroundColor(walk.maskingColor);
      return layer;
    case MaskOutcome::visualEffect: {
      layer = std::make_shared<Layer>();
      layerCopy(view, *layer);
      const auto& effect = static_cast<const platform::VisualEffectView&>(view);
      platform::Color color = effect.effectStyle() == platform::BlurEffectStyle::dark ? platform::Color{0, 0, 0, 1} : kWhite;
      if (!view.subviews().empty() && view.subviews().front()->backgroundColor()) {
        color = *view.subviews().front()->backgroundColor();
      }
      layer->setBackgroundColor(color);
      return layer;
    }
    case MaskOutcome::scroll: {
      auto scroll = std::make_shared<platform::ScrollLayer>();
      layerCopy(view, *scroll);
      scroll->scrollToPoint(static_cast<const platform::ScrollView&>(view).contentOffset());
      return scroll;
    }
    case MaskOutcome::content:
    case MaskOutcome::skip:
    case MaskOutcome::player:
      break;
  }
  layer = std::make_shared<Layer>();
  layerCopy(view, *layer);
  if (!decision.showContent) {
    layer->setOpacity(1.0);
    layer->setBackgroundColor(walk.maskingColor);
    layer->attributes().borderColor = kWhite;
    layer->attributes().borderWidth = 1.0;
    if (decision.kind == ContentKind::text) {
      layer->attributes().cornerRadius = view.frame().size.height * kTextBlockCornerRatio;
    }
    return layer;
  }
  if (decision.kind == ContentKind::image && decision.kinds.image) {
    layer->setContents(renderOfView(view, true));
  } else if (decision.kind != ContentKind::image && decision.kind != ContentKind::text && decision.kinds.web) {
    layer->setContents(renderOfView(view, false));
  } else {
    layer->setContents(view.layer()->contents());
  }
  return layer;
}

std::shared_ptr<const platform::Bitmap> ScreenRecordingLOFIMode::renderOfView(const View& view, bool withCache) {
  std::string key;
  if (withCache) {
    key = view.description();
    if (auto hit = imageCache_->objectForKey(key)) return hit;
  }
  platform::Rect frame = view.layer()->frame();
  if (!(frame.size.width > 0) || !(frame.size.height > 0)) return nullptr;
  platform::beginImageContextWithOptions(frame.size, false, view.contentScaleFactor());
  auto* context = platform::currentContext();
  if (context == nullptr) return nullptr;
  context->clearRect(platform::Rect{{0, 0}, frame.size});
  context->translateCTM(-frame.origin.x, -frame.origin.y);
  view.drawViewHierarchyInRect(frame, false);
  auto image = platform::imageFromCurrentImageContext();
  platform::endImageContext();
  if (withCache && image) imageCache_->setObject(image, key);
  return image;
}

std::shared_ptr<const platform::Bitmap> ScreenRecordingLOFIMode::render(const Layer& root,
                                                                        const std::vector<platform::Rect>& dataMasked,
                                                                        double width, double height) const {
  // The whole screen, in its own points, at the drawing scale: a large screen is drawn whole at half
  // scale, into an image of the halved size.
  platform::beginImageContextWithOptions(captureCanvasSize({width, height}), true, mainScreenDrawingScale());
  auto* context = platform::currentContext();
  if (context == nullptr) return nullptr;
  root.renderInContext(*context);
  const platform::Color fill = maskingColor();
  for (const auto& rect : dataMasked) {
    context->addPath(platform::BezierPath::roundedRect(rect, kBlockCornerRadius));
    context->setLineWidth(1.0);
    context->setStrokeColor(kWhite);
    context->setFillColor(fill);
    context->drawPath(platform::PathDrawingMode::fillStroke);
  }
  auto image = platform::imageFromCurrentImageContext();
  context->clearRect(root.frame());
  platform::endImageContext();
  return image;
}

void ScreenRecordingLOFIMode::draw(const Capture& capture, const std::string& hash, const std::shared_ptr<Layer>& root,
                                   const std::vector<platform::Rect>& dataMasked, double width, double height) {
  // A screen started since the walk: this wireframe is of no screen the recorder serves.
  if (!isCurrent(capture)) return;
  Common common = configuration_->common();
  // A wireframe equal to the screen's last image is dropped, opening ones too but for the screen's
  // first; a dropped opening one still counts, so that a still screen stops the clock's requests.
  if (hashNode_ && imagesTaken() > 0 && hash == *hashNode_) {
    if (imagesTaken() < common.imageTakenWhenScreenStart) imageTaken();
    return;
  }
  hashNode_ = hash;
  std::optional<std::vector<std::uint8_t>> data;
  if (auto image = render(*root, dataMasked, width, height)) {
    data = platform::jpegRepresentation(*image, jpegCompressionQuality(common.imageQualityType));
  }
  const auto& batch = capture.screen.batch;
  Logger::log("Create image of screen in LoFi screenID: " + (batch ? batch->viewContext.screenID : std::string()),
              LogLevel::developer);
  imageTaken();
  if (!data) {
    Logger::log("screenshot " + (batch ? batch->viewContext.name : std::string("nil")) + " failed with nil value",
                LogLevel::qa);
    return;
  }
  publish(capture, std::move(data));
  // Taken apart depth first, so that no layer of the wireframe outlives the image.
  std::function<void(Layer&)> takeApart = [&](Layer& layer) {
    auto sublayers = layer.sublayers();
    for (const auto& sublayer : sublayers) {
      takeApart(*sublayer);
      sublayer->removeAllAnimations();
      sublayer->removeFromSuperlayer();
    }
  };
  takeApart(*root);
}

void layerCopy(const View& view, Layer& layer) {
  auto source = view.layer();
  layer.attributes() = source->attributes();
  layer.setFrame(view.frame());
  layer.setBackgroundColor(view.backgroundColor());
}

}  // namespace obx
