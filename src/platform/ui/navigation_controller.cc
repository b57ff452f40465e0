#include "platform/ui/navigation_controller.h"

#include <algorithm>

#include "platform/runtime/runtime.h"

namespace obx::platform {

Class* NavigationController::runtimeClass() {
  static Class* const cls =
      registerClass("NavigationController", ViewController::runtimeClass(), typeid(NavigationController));
  return cls;
}

NavigationController::NavigationController() { setDeclaredClass(runtimeClass()); }

std::shared_ptr<NavigationController> NavigationController::make(std::shared_ptr<ViewController> root) {
  auto navigation = std::make_shared<NavigationController>();
  if (root) navigation->setViewControllers({std::move(root)}, false);
  return navigation;
}

std::shared_ptr<ViewController> NavigationController::topViewController() const {
  const auto& stack = childViewControllers();
  return stack.empty() ? nullptr : stack.back();
}

std::shared_ptr<ViewController> NavigationController::visibleViewController() const {
  auto top = topViewController();
  if (!top) return nullptr;
  while (auto presented = top->presentedViewController()) top = presented;
  return top;
}

std::vector<std::shared_ptr<ViewController>> NavigationController::childViewControllersForAppearance() const {
  auto top = topViewController();
  if (!top) return {};
  return {top};
}

void NavigationController::pushViewController(std::shared_ptr<ViewController> controller, bool animated) {
  if (!controller) return;
  auto from = topViewController();
  if (from == controller) return;
  addChildViewController(controller);
  transition(from, controller, animated);
}

std::shared_ptr<ViewController> NavigationController::popViewController(bool animated) {
  const auto& stack = childViewControllers();
  if (stack.size() < 2) return nullptr;
  auto popped = stack.back();
  auto to = stack[stack.size() - 2];
  transition(popped, to, animated);
  popped->removeFromParentViewController();
  return popped;
}

std::vector<std::shared_ptr<ViewController>> NavigationController::popToRootViewController(bool animated) {
  std::vector<std::shared_ptr<ViewController>> stack = childViewControllers();
  if (stack.size() < 2) return {};
  std::vector<std::shared_ptr<ViewController>> popped(stack.begin() + 1, stack.end());
  transition(stack.back(), stack.front(), animated);
  for (auto& each : popped) each->removeFromParentViewController();
  return popped;
}

void NavigationController::setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers,
                                              bool animated) {
  auto from = topViewController();
  std::vector<std::shared_ptr<ViewController>> old = childViewControllers();
  for (auto& each : controllers) addChildViewController(each);
  auto to = controllers.empty() ? nullptr : controllers.back();
  transition(from, to, animated);
  for (auto& each : old) {
    if (std::find(controllers.begin(), controllers.end(), each) == controllers.end()) each->removeFromParentViewController();
  }
  // The stack takes the given order.
  for (auto& each : controllers) each->removeFromParentViewController();
  for (auto& each : controllers) addChildViewController(each);
}

}  // namespace obx::platform
