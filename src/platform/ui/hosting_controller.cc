#include "platform/ui/hosting_controller.h"

#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"

namespace obx::platform {

Class* HostingController::runtimeClass() {
  static Class* const cls = registerClass("HostingController", ViewController::runtimeClass(),
                                          typeid(HostingController), Bundle::declarativeUIBundle());
  return cls;
}

HostingController::HostingController(std::shared_ptr<View> rootView) : rootView_(std::move(rootView)) {
  setDeclaredClass(runtimeClass());
}

void HostingController::loadView() {
  if (!rootView_) rootView_ = std::make_shared<View>(Application::shared()->mainScreen()->bounds());
  setView(rootView_);
}

}  // namespace obx::platform
