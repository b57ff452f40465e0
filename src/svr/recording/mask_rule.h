// MaskRule: the per-view decision of masking. Masking state flows down the view tree: a view may
// block itself, show its real content, and change the state its subviews inherit. The rule only
// reads views; the caller applies `setMaskOnView`. Main thread, as it reads views.
#pragma once

#include <vector>

#include "lifecycle/view_properties.h"
#include "obx/enums.h"
#include "platform/ui/view.h"

namespace obx {

// Class-name marker of a video player's view, which has no layer of its own.
inline constexpr const char* kPlayerViewMarker = "PlayerView";

enum class MaskOutcome {
  skip,          // hidden or transparent: no trace of the view or its subtree
  inputBlock,    // a block of the masking colour, no border, no content
  visualEffect,  // a copy with the effect's colour
  scroll,        // a scroll layer at the content offset
  player,        // no layer; the subviews attach to the level's last layer
  content,       // a copy with its real content or a block, as `showContent` says
};

// The kinds of the content decision, first match wins.
enum class ContentKind { image, text, map, web, other };

// What a view is, read once from its run-time class: the walk asks each of these of every view.
struct ViewKinds {
  bool input = false;  // a text field or text view
  bool web = false;
  bool visualEffect = false;
  bool scroll = false;
  bool image = false;  // an image view
  bool label = false;
  bool map = false;
  bool player = false;  // its class name holds the player marker

  static ViewKinds of(const platform::View& view);
};

struct MaskDecision {
  MaskOutcome outcome = MaskOutcome::skip;
  ContentKind kind = ContentKind::other;
  bool showContent = true;
  // The view's `obxMasking` becomes `mask`, so it stays masked on later screens.
  bool setMaskOnView = false;
  // The state its subviews inherit, and whether they are walked at all.
  MaskView state = MaskView::automatic;
  bool descend = false;
  // Filled for every view that is not skipped.
  ViewKinds kinds;
};

class MaskRule {
 public:
  MaskRule(std::vector<MaskAutomatic> masks, bool forceMaskForCurrentScreen)
      : masks_(std::move(masks)), force_(forceMaskForCurrentScreen) {}

  MaskDecision decide(const platform::View& view, MaskView state) const;
  bool has(MaskAutomatic mask) const;

  static bool isWeb(const platform::View& view);

 private:
  ContentKind contentKind(const platform::View& view, const ViewKinds& kinds, MaskView own, MaskView parent) const;
  bool showsContent(ContentKind kind, MaskView own, MaskView parent) const;

  std::vector<MaskAutomatic> masks_;
  bool force_;
};

}  // namespace obx
