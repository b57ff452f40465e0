// NavigationController: a stack of controllers of which the top one shows. Push and pop move the
// top with appearance callbacks while the navigation controller is showing. Main queue only.
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/view_controller.h"

namespace obx::platform {

class NavigationController : public ViewController {
 public:
  static Class* runtimeClass();
  NavigationController();

  // The stack is built on first use of the controller, so that the root joins as a child of the
  // shared object: call `setViewControllers` or `push` after making it.
  static std::shared_ptr<NavigationController> make(std::shared_ptr<ViewController> root);

  // Bottom to top.
  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const { return childViewControllers(); }
  std::shared_ptr<ViewController> topViewController() const;
  // The presented controller of the top, if any, otherwise the top.
  std::shared_ptr<ViewController> visibleViewController() const;

  void pushViewController(std::shared_ptr<ViewController> controller, bool animated);
  // Returns the popped controller; null when only the root is left.
  std::shared_ptr<ViewController> popViewController(bool animated);
  std::vector<std::shared_ptr<ViewController>> popToRootViewController(bool animated);
  void setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated);

 protected:
  std::vector<std::shared_ptr<ViewController>> childViewControllersForAppearance() const override;
};

}  // namespace obx::platform
