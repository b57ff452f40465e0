// HostingController: the controller in which the declarative-UI framework shows a screen. Its
// class belongs to the framework's bundle, so it carries no name of its own: a screen shown in one
// is named by the application (obxScreenName). Main queue only.
#pragma once

#include <memory>

#include "platform/ui/view_controller.h"

namespace obx::platform {

class HostingController : public ViewController {
 public:
  static Class* runtimeClass();
  // `rootView` is the view the declarative content was rendered into.
  explicit HostingController(std::shared_ptr<View> rootView = nullptr);
  std::shared_ptr<View> rootView() const { return rootView_; }

 protected:
  void loadView() override;

 private:
  std::shared_ptr<View> rootView_;
};

}  // namespace obx::platform
