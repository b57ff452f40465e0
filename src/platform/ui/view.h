// View: a rectangle of the toolkit's view tree, with its frame, visibility, opacity, background
// colour and subviews. `description` names the class and address and shows the frame and state, in
// the platform's manner; `debugDescription` adds the bounds and background colour. Both change when
// the frame or state changes and are stable otherwise, which is what change detection relies on.
//
// Each view has a layer (platform/graphics) that shows it: frame, background, visibility and opacity,
// and as contents the view's own drawing (`drawRect`), redrawn on the first use of `layer()` after a
// change, as the toolkit redraws a view at the next display. Every change of frame, visibility,
// opacity, colour, subviews or a kind's own state goes through `didChangeVisualState`.
//
// Layout: every such change also marks the view for layout, and a view is marked when it joins a
// window. A window lays out what is marked in one pass on the main queue soon after, as the toolkit
// does at the end of a run-loop turn: each marked view, parent before subviews, is sent
// "layoutSublayersOfLayer:" through the run-time, so a replacement of that method sees every layout
// of every view. Its implementation calls `layoutSubviews`.
//
// Main queue only.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/graphics/bitmap_context.h"
#include "platform/graphics/layer.h"
#include "platform/runtime/object.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/gesture_recognizer.h"

namespace obx::platform {

class Window;

namespace selectors {
inline constexpr const char* layoutSublayersOfLayer = "layoutSublayersOfLayer:";
}  // namespace selectors

// The signature of "layoutSublayersOfLayer:" in the method tables: the view, then its layer.
using LayoutSublayersSignature = void(Object&, Layer&);

class View : public Object {
 public:
  static Class* runtimeClass();
  View() : View(Rect{}) {}
  explicit View(Rect frame);

  Rect frame() const { return frame_; }
  void setFrame(Rect frame);
  // Origin is where the view's own content starts (a scroll view's content offset); size follows
  // the frame's.
  Rect bounds() const { return Rect{boundsOrigin_, frame_.size}; }
  void setBoundsOrigin(Point origin);
  // While an animation of the frame runs, `frame` already holds where it ends and the presentation
  // frame what the screen shows at this moment (the toolkit's presentation layer). The animation's
  // driver sets it at each step and clears it at the end; without an animation it is the frame.
  // Drawing places the view at its presentation frame.
  Rect presentationFrame() const { return presentationFrame_.value_or(frame_); }
  bool isAnimating() const { return presentationFrame_.has_value(); }
  void setPresentationFrame(std::optional<Rect> frame);
  Point center() const { return {frame_.origin.x + frame_.size.width / 2, frame_.origin.y + frame_.size.height / 2}; }

  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden);
  double alpha() const { return alpha_; }
  void setAlpha(double alpha);
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color);
  int tag() const { return tag_; }
  void setTag(int tag) { tag_ = tag; }
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  bool clipsToBounds() const { return clipsToBounds_; }
  void setClipsToBounds(bool clips) { clipsToBounds_ = clips; }
  // A view that follows its superview's bounds covers what the superview shows, whatever its size
  // and scrolled origin: its frame is the superview's bounds, kept so at every change of them.
  bool followsSuperviewBounds() const { return followsSuperviewBounds_; }
  void setFollowsSuperviewBounds(bool follows);
  const std::string& accessibilityIdentifier() const { return accessibilityIdentifier_; }
  void setAccessibilityIdentifier(std::string identifier) { accessibilityIdentifier_ = std::move(identifier); }

  // The recognisers attached to this view, in the order they were added. A view that is not owned
  // through a shared pointer cannot take one.
  virtual std::vector<std::shared_ptr<GestureRecognizer>> gestureRecognizers() const { return gestureRecognizers_; }
  void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
  void removeGestureRecognizer(const GestureRecognizer* recognizer);

  // Subviews back to front.
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  std::shared_ptr<View> superview() const { return superview_.lock(); }
  // The window at the root of this view's tree, or null when it is in none.
  std::shared_ptr<Window> window() const;
  // Adds `view` on top, taking it from its former superview.
  void addSubview(const std::shared_ptr<View>& view);
  void insertSubview(const std::shared_ptr<View>& view, std::size_t index);
  void removeFromSuperview();
  void bringSubviewToFront(const View* view);
  bool isDescendantOfView(const View* view) const;

  // `convertPoint:toView:`; a null `view` means the window's coordinates.
  Point convertPointToView(Point point, const View* view) const;
  Point convertPointFromView(Point point, const View* view) const;
  // `convertRect:toView:` of a rectangle in this view's bounds; the size is kept.
  Rect convertRectToView(Rect rect, const View* view) const;
  // The deepest visible, interactive descendant (or this view) containing `point`, given in this
  // view's coordinates; null when the point is outside.
  std::shared_ptr<View> hitTest(Point point);

  std::string description() const override;
  std::string debugDescription() const override;

  // The layer showing this view, brought up to date. Its sublayers are not the subviews' layers:
  // a view tree is drawn by `drawViewHierarchyInRect`.
  std::shared_ptr<Layer> layer() const;
  // Pixels per point of the view's own drawing.
  double contentScaleFactor() const { return contentScaleFactor_; }
  void setContentScaleFactor(double scale);
  // Draws this view and its visible subviews into the current image context (image_context.h), the
  // view's bounds fitted to `rect`. False, drawing nothing, without a current context.
  bool drawViewHierarchyInRect(Rect rect, bool afterScreenUpdates) const;
  // Marks the view for layout; in a window, a layout pass follows on the main queue, one for all
  // the marks made before it runs.
  void setNeedsLayout();
  bool needsLayout() const { return needsLayout_; }
  // Lays out at once the marked views of this view's tree.
  void layoutIfNeeded();
  // The implementation of "layoutSublayersOfLayer:" for the view's own layer: `layoutSubviews`.
  void layoutSublayersOfLayer(Layer& layer);

 protected:
  // Whether the view draws anything of its own; without, its layer has no contents.
  virtual bool hasContents() const { return false; }
  // The view's own drawing in its bounds (text, image).
  virtual void drawRect(BitmapContext& context, Rect bounds) const {
    (void)context;
    (void)bounds;
  }
  // What the view's drawing is, for those who test a layer's contents.
  virtual BitmapKind contentsKind() const { return BitmapKind::backingStore; }
  // Adds the kind's own state ("text = 'Total'") to the description's parts.
  virtual void describeState(std::vector<std::string>& parts) const { (void)parts; }
  // A kind's placement of its subviews, at each layout of the view.
  virtual void layoutSubviews() {}
  // Called after every change that alters how the view looks.
  virtual void didChangeVisualState() {
    contentsValid_ = false;
    setNeedsLayout();
  }
  // Called when the view joins or leaves a window's tree.
  virtual void didMoveToWindow() {}
  // For subclasses whose state changes their look.
  void visualStateChanged() { didChangeVisualState(); }
  // A view whose subtree's pixels come from elsewhere (a real toolkit's window) draws all of them
  // here, in its own coordinates, and returns true; its layer and subviews are then not drawn.
  virtual bool drawHierarchy(BitmapContext& context) const {
    (void)context;
    return false;
  }

 private:
  Point originInWindow() const;
  void notifyMovedToWindow();
  void drawTree(BitmapContext& context) const;
  void layoutTree();
  // Gives the subviews that follow this view's bounds the bounds as they are now.
  void updateFollowers();

  Rect frame_;
  std::optional<Rect> presentationFrame_;
  Point boundsOrigin_;
  bool hidden_ = false;
  double alpha_ = 1.0;
  std::optional<Color> backgroundColor_;
  int tag_ = 0;
  bool userInteractionEnabled_ = true;
  bool clipsToBounds_ = false;
  bool followsSuperviewBounds_ = false;
  std::string accessibilityIdentifier_;
  std::vector<std::shared_ptr<View>> subviews_;
  std::weak_ptr<View> superview_;
  std::vector<std::shared_ptr<GestureRecognizer>> gestureRecognizers_;
  double contentScaleFactor_ = 1.0;
  mutable std::shared_ptr<Layer> layer_;
  mutable bool contentsValid_ = false;
  bool needsLayout_ = true;
};

// "'It''s'": a text quoted as descriptions show it.
std::string quoteForDescription(const std::string& text);
// "r g b a" with the platform's number formatting.
std::string describeColor(const Color& color);

}  // namespace obx::platform
