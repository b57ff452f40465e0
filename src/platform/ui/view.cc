#include "platform/ui/view.h"

#include <algorithm>

#include "platform/graphics/image_context.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/window.h"

namespace obx::platform {

Class* View::runtimeClass() {
  static Class* const cls = [] {
    Class* c = registerClass("View", Object::runtimeClass(), typeid(View));
    c->addMethod(selectors::layoutSublayersOfLayer, implementationOf(&View::layoutSublayersOfLayer));
    return c;
  }();
  return cls;
}

View::View(Rect frame) : frame_(frame) { setDeclaredClass(runtimeClass()); }

void View::setFrame(Rect frame) {
  if (frame == frame_) return;
  const bool resized = frame.size != frame_.size;
  frame_ = frame;
  if (resized) updateFollowers();
  didChangeVisualState();
}

void View::setFollowsSuperviewBounds(bool follows) {
  followsSuperviewBounds_ = follows;
  if (auto parent = superview_.lock(); parent && follows) setFrame(parent->bounds());
}

void View::updateFollowers() {
  for (const auto& subview : subviews_) {
    if (subview->followsSuperviewBounds_) subview->setFrame(bounds());
  }
}

// An animation step moves what is shown, not the model: no layout follows.
void View::setPresentationFrame(std::optional<Rect> frame) { presentationFrame_ = frame; }

void View::setBoundsOrigin(Point origin) {
  if (origin == boundsOrigin_) return;
  boundsOrigin_ = origin;
  updateFollowers();
  didChangeVisualState();
}

void View::setHidden(bool hidden) {
  if (hidden == hidden_) return;
  hidden_ = hidden;
  didChangeVisualState();
}

void View::setAlpha(double alpha) {
  alpha = std::clamp(alpha, 0.0, 1.0);
  if (alpha == alpha_) return;
  alpha_ = alpha;
  didChangeVisualState();
}

void View::setBackgroundColor(std::optional<Color> color) {
  if (color == backgroundColor_) return;
  backgroundColor_ = color;
  didChangeVisualState();
}

std::shared_ptr<Window> View::window() const {
  const View* top = this;
  while (auto parent = top->superview_.lock()) top = parent.get();
  if (!top->isKindOfClass(Window::runtimeClass())) return nullptr;
  return std::static_pointer_cast<Window>(std::const_pointer_cast<Object>(top->shared_from_this()));
}

void View::addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
  if (!recognizer) return;
  std::weak_ptr<View> self = std::static_pointer_cast<View>(weak_from_this().lock());
  if (self.expired()) return;
  if (auto former = recognizer->view(); former && former.get() != this) former->removeGestureRecognizer(recognizer.get());
  if (std::find(gestureRecognizers_.begin(), gestureRecognizers_.end(), recognizer) == gestureRecognizers_.end()) {
    gestureRecognizers_.push_back(recognizer);
  }
  recognizer->setView(self);
}

void View::removeGestureRecognizer(const GestureRecognizer* recognizer) {
  auto found = std::find_if(gestureRecognizers_.begin(), gestureRecognizers_.end(),
                            [&](const auto& each) { return each.get() == recognizer; });
  if (found == gestureRecognizers_.end()) return;
  (*found)->setView({});
  gestureRecognizers_.erase(found);
}

void View::addSubview(const std::shared_ptr<View>& view) { insertSubview(view, subviews_.size()); }

void View::insertSubview(const std::shared_ptr<View>& view, std::size_t index) {
  if (!view || view.get() == this || isDescendantOfView(view.get())) return;
  auto keep = view;  // removing it from its superview may drop the last other reference
  if (auto former = view->superview_.lock(); former.get() == this) {
    auto& list = subviews_;
    list.erase(std::remove(list.begin(), list.end(), view), list.end());
  } else if (former) {
    view->removeFromSuperview();
  }
  index = std::min(index, subviews_.size());
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), view);
  view->superview_ = sharedAs<View>();
  if (view->followsSuperviewBounds_) view->setFrame(bounds());
  view->notifyMovedToWindow();
  didChangeVisualState();
}

void View::removeFromSuperview() {
  auto parent = superview_.lock();
  if (!parent) return;
  auto keep = sharedAs<View>();
  auto& list = parent->subviews_;
  list.erase(std::remove_if(list.begin(), list.end(), [&](const auto& each) { return each.get() == this; }),
             list.end());
  superview_.reset();
  notifyMovedToWindow();
  parent->didChangeVisualState();
}

void View::bringSubviewToFront(const View* view) {
  auto found = std::find_if(subviews_.begin(), subviews_.end(), [&](const auto& each) { return each.get() == view; });
  if (found == subviews_.end()) return;
  auto moved = *found;
  subviews_.erase(found);
  subviews_.push_back(moved);
  didChangeVisualState();
}

bool View::isDescendantOfView(const View* view) const {
  for (const View* each = this; each != nullptr;) {
    if (each == view) return true;
    auto parent = each->superview_.lock();
    each = parent.get();
  }
  return false;
}

void View::setNeedsLayout() {
  needsLayout_ = true;
  const View* top = this;
  while (auto parent = top->superview_.lock()) top = parent.get();
  // Not through window(): this may run inside a constructor, before the view is shared.
  if (auto* window = dynamic_cast<const Window*>(top)) const_cast<Window*>(window)->scheduleLayoutPass();
}

void View::layoutIfNeeded() { layoutTree(); }

void View::layoutTree() {
  if (needsLayout_) {
    needsLayout_ = false;
    if (!layer_) layer_ = std::make_shared<Layer>();
    auto layer = layer_;
    sendMessage<void(Layer&)>(*this, selectors::layoutSublayersOfLayer, *layer);
  }
  // A layout may add or remove subviews; the pass goes over those there were when it began.
  auto subviews = subviews_;
  for (const auto& subview : subviews) subview->layoutTree();
}

void View::layoutSublayersOfLayer(Layer& layer) {
  (void)layer;
  layoutSubviews();
}

void View::notifyMovedToWindow() {
  setNeedsLayout();
  didMoveToWindow();
  for (auto& subview : subviews_) subview->notifyMovedToWindow();
}

Point View::originInWindow() const {
  Point origin{0, 0};
  const View* each = this;
  while (auto parent = each->superview_.lock()) {
    origin.x += each->frame_.origin.x - parent->boundsOrigin_.x;
    origin.y += each->frame_.origin.y - parent->boundsOrigin_.y;
    each = parent.get();
  }
  // The root's own frame places it on the screen; a window's frame is in screen coordinates.
  return origin;
}

Point View::convertPointToView(Point point, const View* view) const {
  Point mine = originInWindow();
  Point inWindow{point.x - boundsOrigin_.x + mine.x, point.y - boundsOrigin_.y + mine.y};
  if (view == nullptr) return inWindow;
  Point theirs = view->originInWindow();
  return {inWindow.x - theirs.x + view->boundsOrigin_.x, inWindow.y - theirs.y + view->boundsOrigin_.y};
}

Rect View::convertRectToView(Rect rect, const View* view) const {
  return Rect{convertPointToView(rect.origin, view), rect.size};
}

Point View::convertPointFromView(Point point, const View* view) const {
  Point inWindow = view ? view->convertPointToView(point, nullptr) : point;
  Point mine = originInWindow();
  return {inWindow.x - mine.x + boundsOrigin_.x, inWindow.y - mine.y + boundsOrigin_.y};
}

std::shared_ptr<View> View::hitTest(Point point) {
  if (hidden_ || alpha_ < 0.01 || !userInteractionEnabled_) return nullptr;
  if (!bounds().contains(point)) return nullptr;
  for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
    const auto& subview = *it;
    // `point` is in this view's bounds, where subviews' frames live.
    Point local{point.x - subview->frame_.origin.x + subview->boundsOrigin_.x,
                point.y - subview->frame_.origin.y + subview->boundsOrigin_.y};
    if (auto hit = subview->hitTest(local)) return hit;
  }
  return sharedAs<View>();
}

std::string View::description() const {
  // Built in one string: the wireframe recorder reads every view's description at each frame.
  std::vector<std::string> parts;
  describeState(parts);
  std::string text;
  text.reserve(128);
  text += '<';
  const Class* cls = getClass();
  text += cls ? cls->name() : "nil";
  text += ": ";
  text += addressText();
  text += "; frame = ";
  appendRect(text, frame_);
  if (hidden_) text += "; hidden = YES";
  if (alpha_ != 1.0) {
    text += "; alpha = ";
    appendCoordinate(text, alpha_);
  }
  if (!userInteractionEnabled_) text += "; userInteractionEnabled = NO";
  if (tag_ != 0) text += "; tag = " + std::to_string(tag_);
  for (const auto& part : parts) {
    text += "; ";
    text += part;
  }
  text += '>';
  return text;
}

std::string View::debugDescription() const {
  std::string text = description();
  text.pop_back();
  text += "; bounds = ";
  appendRect(text, bounds());
  if (backgroundColor_) {
    text += "; backgroundColor = ";
    text += describeColor(*backgroundColor_);
  }
  if (clipsToBounds_) text += "; clipsToBounds = YES";
  text += "; subviews = ";
  text += std::to_string(subviews_.size());
  text += '>';
  return text;
}

void View::setContentScaleFactor(double scale) {
  if (!(scale > 0) || scale == contentScaleFactor_) return;
  contentScaleFactor_ = scale;
  didChangeVisualState();
}

std::shared_ptr<Layer> View::layer() const {
  if (!layer_) layer_ = std::make_shared<Layer>();
  layer_->setFrame(frame_);
  layer_->setBoundsOrigin(boundsOrigin_);
  layer_->setBackgroundColor(backgroundColor_);
  layer_->setHidden(hidden_);
  layer_->setOpacity(alpha_);
  layer_->attributes().masksToBounds = clipsToBounds_;
  if (!contentsValid_) {
    contentsValid_ = true;
    std::shared_ptr<const Bitmap> contents;
    if (hasContents()) {
      if (auto context = BitmapContext::make(frame_.size, false, contentScaleFactor_)) {
        drawRect(*context, Rect{{0, 0}, frame_.size});
        contents = context->makeImage(contentsKind());
      }
    }
    layer_->setContents(std::move(contents));
  }
  return layer_;
}

bool View::drawViewHierarchyInRect(Rect rect, bool afterScreenUpdates) const {
  (void)afterScreenUpdates;
  BitmapContext* context = currentContext();
  if (context == nullptr) return false;
  if (frame_.size.width <= 0 || frame_.size.height <= 0) return true;
  context->saveGState();
  context->translateCTM(rect.origin.x, rect.origin.y);
  context->scaleCTM(rect.size.width / frame_.size.width, rect.size.height / frame_.size.height);
  drawTree(*context);
  context->restoreGState();
  return true;
}

void View::drawTree(BitmapContext& context) const {
  if (hidden_ || !(alpha_ > 0)) return;
  if (drawHierarchy(context)) return;
  // The view's layer without its position: this call has already moved to it.
  layer()->renderInContext(context);
  if (subviews_.empty()) return;
  context.saveGState();
  if (clipsToBounds_) context.clipToRect(Rect{{0, 0}, frame_.size});
  context.translateCTM(-boundsOrigin_.x, -boundsOrigin_.y);
  for (const auto& subview : subviews_) {
    context.saveGState();
    Point origin = subview->presentationFrame().origin;
    context.translateCTM(origin.x, origin.y);
    subview->drawTree(context);
    context.restoreGState();
  }
  context.restoreGState();
}

std::string quoteForDescription(const std::string& text) { return "'" + text + "'"; }

std::string describeColor(const Color& color) {
  std::string text;
  for (double channel : {color.red, color.green, color.blue, color.alpha}) {
    if (!text.empty()) text += ' ';
    appendCoordinate(text, channel);
  }
  return text;
}

}  // namespace obx::platform
