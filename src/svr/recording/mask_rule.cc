#include "svr/recording/mask_rule.h"

#include <algorithm>
#include <string_view>

#include "platform/runtime/runtime.h"

#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/map_view.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/visual_effect_view.h"
#include "platform/ui/web_view.h"

namespace obx {

using platform::View;

bool MaskRule::has(MaskAutomatic mask) const { return std::find(masks_.begin(), masks_.end(), mask) != masks_.end(); }

bool MaskRule::isInput(const View& view) {
  return view.isKindOfClass(platform::TextField::runtimeClass()) || view.isKindOfClass(platform::TextView::runtimeClass());
}

bool MaskRule::isWeb(const View& view) { return view.isKindOfClass(platform::WebView::runtimeClass()); }

MaskDecision MaskRule::decide(const View& view, MaskView state) const {
  MaskDecision decision;
  if (view.isHidden() || !(view.alpha() > 0)) return decision;

  const MaskView own = obxMasking(view);
  const bool input = isInput(view);
  const bool web = isWeb(view);
  const bool inputBlocked = input && (own == MaskView::mask || has(MaskAutomatic::inputs));
  const bool webBlocked = web && (own == MaskView::mask || has(MaskAutomatic::webViews));
  const MaskView parent = state;

  if (state == MaskView::mask || (input && own != MaskView::unmask && (has(MaskAutomatic::inputs) || own == MaskView::mask))) {
    decision.outcome = MaskOutcome::inputBlock;
    decision.setMaskOnView = force_;
  } else if (!input && (view.isKindOfClass(platform::VisualEffectView::runtimeClass()) ||
                        view.isKindOfClass(platform::ScrollView::runtimeClass()))) {
    // A text view is a scroll view that draws its own text, so it is judged as the input it is.
    decision.outcome = view.isKindOfClass(platform::VisualEffectView::runtimeClass()) ? MaskOutcome::visualEffect
                                                                                      : MaskOutcome::scroll;
  } else if (web) {
    if (has(MaskAutomatic::webViews) || own == MaskView::mask) state = MaskView::mask;
    decision.outcome = MaskOutcome::content;
  } else if (platform::stringFromClass(view.getClass()).find(kPlayerViewMarker) != std::string::npos) {
    // The class name is the part of the description the marker is looked for in.
    decision.outcome = MaskOutcome::player;
    state = MaskView::mask;
    decision.setMaskOnView = force_;
  } else {
    if (view.isKindOfClass(platform::ImageView::runtimeClass()) && has(MaskAutomatic::images)) {
      state = MaskView::mask;
    } else if (view.isKindOfClass(platform::Label::runtimeClass()) && has(MaskAutomatic::labels) &&
               state != MaskView::unmask) {
      state = MaskView::mask;
    }
    if (input && (!inputBlocked || own == MaskView::unmask)) state = MaskView::unmask;
    decision.outcome = MaskOutcome::content;
  }

  if (decision.outcome == MaskOutcome::content) {
    decision.kind = contentKind(view, own, parent);
    decision.showContent = showsContent(decision.kind, own, parent);
    if (!decision.showContent && force_) decision.setMaskOnView = true;
  }

  decision.state = state;
  if (own == MaskView::mask && !input) {
    decision.descend = false;
  } else if (own != MaskView::unmask && (inputBlocked || webBlocked)) {
    decision.descend = false;
  } else {
    decision.descend = true;
  }
  return decision;
}

ContentKind MaskRule::contentKind(const View& view, MaskView own, MaskView parent) const {
  auto layer = view.layer();
  // The class name and the contents' kind are what the layer's description and the contents' debug
  // description show, read without formatting either.
  if (view.isKindOfClass(platform::ImageView::runtimeClass()) ||
      std::string_view(layer->className()).find("ImageLayer") != std::string_view::npos) {
    return ContentKind::image;
  }
  if (view.isKindOfClass(platform::Label::runtimeClass())) return ContentKind::text;
  if (const auto& contents = layer->contents()) {
    if (contents->kind() == platform::BitmapKind::backingStore || contents->kind() == platform::BitmapKind::tintedImage) {
      return ContentKind::text;
    }
  }
  if (view.isKindOfClass(platform::MapView::runtimeClass()) || own == MaskView::mask || parent == MaskView::mask) {
    return ContentKind::map;
  }
  if (isWeb(view)) return ContentKind::web;
  return ContentKind::other;
}

bool MaskRule::showsContent(ContentKind kind, MaskView own, MaskView parent) const {
  switch (kind) {
    case ContentKind::image:
      return (own != MaskView::mask && !has(MaskAutomatic::images) && parent != MaskView::mask) || own == MaskView::unmask;
    case ContentKind::text:
      return (own != MaskView::mask && !has(MaskAutomatic::labels) && parent != MaskView::mask) ||
             own == MaskView::unmask || parent == MaskView::unmask;
    case ContentKind::map:
      return false;
    case ContentKind::web:
      return !has(MaskAutomatic::webViews) || own == MaskView::unmask;
    case ContentKind::other:
      return true;
  }
  return true;
}

}  // namespace obx
