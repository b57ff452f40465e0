#include "platform/ui/scroll_view.h"

namespace obx::platform {

Class* ScrollView::runtimeClass() {
  static Class* const cls = [] {
    Class* c = registerClass("ScrollView", View::runtimeClass(), typeid(ScrollView));
    c->addMethod(selectors::setContentOffset, implementationOf(&ScrollView::applyContentOffset));
    return c;
  }();
  return cls;
}

void ScrollView::setContentOffset(Point offset) { sendMessage<void(Point)>(*this, selectors::setContentOffset, offset); }

namespace {

std::shared_ptr<GestureRecognizer> attached(const ScrollView& view, std::shared_ptr<GestureRecognizer>& slot,
                                            GestureRecognizerKind kind) {
  if (!slot) {
    slot = std::make_shared<GestureRecognizer>(kind);
    // Attached lazily: a view made in its constructor has no shared owner yet to be named by.
    slot->setView(std::static_pointer_cast<View>(std::const_pointer_cast<Object>(view.weak_from_this().lock())));
  }
  return slot;
}

}  // namespace

std::shared_ptr<GestureRecognizer> ScrollView::panGestureRecognizer() const {
  return attached(*this, pan_, GestureRecognizerKind::pan);
}

std::shared_ptr<GestureRecognizer> ScrollView::pinchGestureRecognizer() const {
  return zoomEnabled_ ? attached(*this, pinch_, GestureRecognizerKind::pinch) : nullptr;
}

std::vector<std::shared_ptr<GestureRecognizer>> ScrollView::gestureRecognizers() const {
  std::vector<std::shared_ptr<GestureRecognizer>> list{panGestureRecognizer()};
  if (auto pinch = pinchGestureRecognizer()) list.push_back(pinch);
  auto own = View::gestureRecognizers();
  list.insert(list.end(), own.begin(), own.end());
  return list;
}

void ScrollView::beginDragging() {
  tracking_ = true;
  dragging_ = true;
  decelerating_ = false;
}

void ScrollView::dragBy(double dx, double dy) {
  if (!scrollEnabled_) return;
  Point offset = contentOffset();
  setContentOffset({offset.x + dx, offset.y + dy});
}

void ScrollView::endDragging(bool willDecelerate) {
  tracking_ = false;
  dragging_ = false;
  decelerating_ = willDecelerate;
}

void ScrollView::describeState(std::vector<std::string>& parts) const {
  parts.push_back("contentOffset = {" + formatCoordinate(contentOffset().x) + ", " +
                  formatCoordinate(contentOffset().y) + "}");
  parts.push_back("contentSize = " + describeSize(contentSize_));
}

}  // namespace obx::platform
