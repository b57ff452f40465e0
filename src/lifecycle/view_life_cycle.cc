#include "lifecycle/view_life_cycle.h"

#include "platform/ui/view_controller.h"

namespace obx {

ViewLifeCycle::ViewLifeCycle(std::shared_ptr<Notifier<ViewStateCycle>> notifier)
    : shared_(std::make_shared<Shared>()) {
  shared_->notifier = std::move(notifier);
  platform::Class* controllerClass = platform::ViewController::runtimeClass();
  auto shared = shared_;

  didLoadSwizzler_.swizzle(controllerClass, platform::selectors::viewDidLoad,
                           [shared](std::function<void(platform::Object&)> original) {
                             return [shared, original](platform::Object& controller) {
                               original(controller);
                               shared->report(ViewStateCycle::viewDidLoad);
                             };
                           });
  const std::pair<const char*, ViewStateCycle> appearances[] = {
      {platform::selectors::viewWillAppear, ViewStateCycle::viewWillAppear},
      {platform::selectors::viewDidAppear, ViewStateCycle::viewDidAppear},
      {platform::selectors::viewWillDisappear, ViewStateCycle::viewWillDisappear},
      {platform::selectors::viewDidDisappear, ViewStateCycle::viewDidDisappear},
  };
  for (const auto& [selector, state] : appearances) {
    swizzle(controllerClass, selector, [shared, state = state](Function original) {
      return [shared, state, original](platform::Object& controller, bool animated) {
        if (state == ViewStateCycle::viewWillAppear || state == ViewStateCycle::viewDidDisappear) {
          shared->appearancesBegun.fetch_add(1);
        }
        original(controller, animated);
        shared->report(state);
      };
    });
  }
}

ViewLifeCycle::~ViewLifeCycle() { unswizzleAll(); }

}  // namespace obx
