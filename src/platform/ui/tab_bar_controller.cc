#include "platform/ui/tab_bar_controller.h"

#include <algorithm>

#include "platform/runtime/runtime.h"

namespace obx::platform {

Class* TabBarController::runtimeClass() {
  static Class* const cls = registerClass("TabBarController", ViewController::runtimeClass(), typeid(TabBarController));
  return cls;
}

TabBarController::TabBarController() { setDeclaredClass(runtimeClass()); }

std::shared_ptr<ViewController> TabBarController::selectedViewController() const {
  const auto& tabs = childViewControllers();
  return selectedIndex_ < tabs.size() ? tabs[selectedIndex_] : nullptr;
}

std::vector<std::shared_ptr<ViewController>> TabBarController::childViewControllersForAppearance() const {
  auto selected = selectedViewController();
  if (!selected) return {};
  return {selected};
}

void TabBarController::setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated) {
  auto from = selectedViewController();
  std::vector<std::shared_ptr<ViewController>> old = childViewControllers();
  for (auto& each : old) each->removeFromParentViewController();
  for (auto& each : controllers) addChildViewController(each);
  selectedIndex_ = 0;
  transition(from, selectedViewController(), animated);
}

void TabBarController::setSelectedIndex(std::size_t index) {
  if (index >= childViewControllers().size() || index == selectedIndex_) return;
  auto from = selectedViewController();
  selectedIndex_ = index;
  transition(from, selectedViewController(), false);
}

void TabBarController::setSelectedViewController(const std::shared_ptr<ViewController>& controller) {
  const auto& tabs = childViewControllers();
  auto found = std::find(tabs.begin(), tabs.end(), controller);
  if (found != tabs.end()) setSelectedIndex(static_cast<std::size_t>(found - tabs.begin()));
}

}  // namespace obx::platform
