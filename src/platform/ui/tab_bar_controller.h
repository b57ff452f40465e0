// TabBarController: a set of controllers of which the selected one shows. Selecting another moves
// the appearance callbacks from one to the other while the tab bar controller is showing.
// Main queue only.
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/view_controller.h"

namespace obx::platform {

class TabBarController : public ViewController {
 public:
  static Class* runtimeClass();
  TabBarController();

  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const { return childViewControllers(); }
  // Replaces the tabs and selects the first.
  void setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated);
  std::shared_ptr<ViewController> selectedViewController() const;
  std::size_t selectedIndex() const { return selectedIndex_; }
  void setSelectedIndex(std::size_t index);
  void setSelectedViewController(const std::shared_ptr<ViewController>& controller);

 protected:
  std::vector<std::shared_ptr<ViewController>> childViewControllersForAppearance() const override;

 private:
  std::size_t selectedIndex_ = 0;
};

}  // namespace obx::platform
