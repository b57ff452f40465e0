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
