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

ViewKinds ViewKinds::of(const View& view) {
  ViewKinds kinds;
  const platform::Class* cls = view.getClass();
  if (cls == nullptr) return kinds;
  kinds.input = cls->isSubclassOfClass(platform::TextField::runtimeClass()) ||
                cls->isSubclassOfClass(platform::TextView::runtimeClass());
  kinds.web = cls->isSubclassOfClass(platform::WebView::runtimeClass());
  kinds.visualEffect = cls->isSubclassOfClass(platform::VisualEffectView::runtimeClass());
  kinds.scroll = cls->isSubclassOfClass(platform::ScrollView::runtimeClass());
  kinds.image = cls->isSubclassOfClass(platform::ImageView::runtimeClass());
  kinds.label = cls->isSubclassOfClass(platform::Label::runtimeClass());
  kinds.map = cls->isSubclassOfClass(platform::MapView::runtimeClass());
  // The class name is the part of the description the marker is looked for in.
  kinds.player = cls->name().find(kPlayerViewMarker) != std::string::npos;
  return kinds;
}

bool MaskRule::isWeb(const View& view) { return view.isKindOfClass(platform::WebView::runtimeClass()); }

MaskDecision MaskRule::decide(const View& view, MaskView state) const {
  MaskDecision decision;
  if (view.isHidden() || !(view.alpha() > 0)) return decision;

  const ViewKinds kinds = ViewKinds::of(view);
  decision.kinds = kinds;
  const MaskView own = obxMasking(view);
  const bool input = kinds.input;
  const bool web = kinds.web;
  const bool inputBlocked = input && (own == MaskView::mask || has(MaskAutomatic::inputs));
  const bool webBlocked = web && (own == MaskView::mask || has(MaskAutomatic::webViews));
  const MaskView parent = state;

  if (state == MaskView::mask || (input && own != MaskView::unmask && (has(MaskAutomatic::inputs) || own == MaskView::mask))) {
    decision.outcome = MaskOutcome::inputBlock;
    decision.setMaskOnView = force_;
  } else if (!input && (kinds.visualEffect || kinds.scroll)) {
    // A text view is a scroll view that draws its own text, so it is judged as the input it is.
    decision.outcome = kinds.visualEffect ? MaskOutcome::visualEffect : MaskOutcome::scroll;
  } else if (web) {
    if (has(MaskAutomatic::webViews) || own == MaskView::mask) state = MaskView::mask;
    decision.outcome = MaskOutcome::content;
  } else if (kinds.player) {
    decision.outcome = MaskOutcome::player;
    state = MaskView::mask;
    decision.setMaskOnView = force_;
  } else {
    if (kinds.image && has(MaskAutomatic::images)) {
      state = MaskView::mask;
    } else if (kinds.label && has(MaskAutomatic::labels) && state != MaskView::unmask) {
      state = MaskView::mask;
    }
    if (input && (!inputBlocked || own == MaskView::unmask)) state = MaskView::unmask;
    decision.outcome = MaskOutcome::content;
  }

  if (decision.outcome == MaskOutcome::content) {
    decision.kind = contentKind(view, kinds, own, parent);
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

ContentKind MaskRule::contentKind(const View& view, const ViewKinds& kinds, MaskView own, MaskView parent) const {
  auto layer = view.layer();
  // The class name and the contents' kind are what the layer's description and the contents' debug
  // description show, read without formatting either.
  if (kinds.image || std::string_view(layer->className()).find("ImageLayer") != std::string_view::npos) {
    return ContentKind::image;
  }
  if (kinds.label) return ContentKind::text;
  if (const auto& contents = layer->contents()) {
    if (contents->kind() == platform::BitmapKind::backingStore || contents->kind() == platform::BitmapKind::tintedImage) {
      return ContentKind::text;
    }
  }
  if (kinds.map || own == MaskView::mask || parent == MaskView::mask) return ContentKind::map;
  if (kinds.web) return ContentKind::web;
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
