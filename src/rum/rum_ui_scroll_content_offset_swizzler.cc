#include "rum/rum_ui_scroll_content_offset_swizzler.h"

#include "base/logger.h"

namespace obx {

RUMUIScrollContentOffsetSwizzler::RUMUIScrollContentOffsetSwizzler(std::shared_ptr<ScrollViewNotifier> notifier)
    : state_(std::make_shared<State>()) {
  state_->notifier = std::move(notifier);
}

RUMUIScrollContentOffsetSwizzler::~RUMUIScrollContentOffsetSwizzler() { unswizzleAll(); }

bool RUMUIScrollContentOffsetSwizzler::start() {
  std::weak_ptr<State> weak = state_;
  const bool installed = swizzle(platform::ScrollView::runtimeClass(), platform::selectors::setContentOffset,
                                 [weak](Function original) {
                                   return [weak, original](platform::Object& view, platform::Point offset) {
                                     if (auto state = weak.lock()) {
                                       // Installed on the scroll view class: the receiver is one.
                                       std::weak_ptr<platform::ScrollView> scrollView = std::static_pointer_cast<
                                           platform::ScrollView>(view.weak_from_this().lock());
                                       {
                                         std::lock_guard lock(state->mutex);
                                         state->scrollView = scrollView;
                                       }
                                       state->notifier->notify(std::move(scrollView));
                                     }
                                     original(view, offset);
                                   };
                                 });
  if (!installed) {
    Logger::log(std::string(kSwizzleErrorMessage) + "no replaceable method \"" +
                    platform::selectors::setContentOffset + "\" on ScrollView",
                LogLevel::developer);
  }
  return installed;
}

void RUMUIScrollContentOffsetSwizzler::add(std::shared_ptr<ScrollViewObserverValue> observer) {
  state_->notifier->observe(std::move(observer));
}

void RUMUIScrollContentOffsetSwizzler::remove(const std::shared_ptr<ScrollViewObserverValue>& observer) {
  state_->notifier->remove(observer);
}

std::shared_ptr<platform::ScrollView> RUMUIScrollContentOffsetSwizzler::scrollView() const {
  std::lock_guard lock(state_->mutex);
  return state_->scrollView.lock();
}

}  // namespace obx
