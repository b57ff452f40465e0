#include "platform/runtime/bundle.h"

#include "platform/runtime/class.h"

namespace obx::platform {

std::shared_ptr<const Bundle> Bundle::mainBundle() {
  static const auto bundle = std::make_shared<const Bundle>("/Applications/Host.app", "app.host");
  return bundle;
}

std::shared_ptr<const Bundle> Bundle::declarativeUIBundle() {
  static const auto bundle =
      std::make_shared<const Bundle>("/System/Library/Frameworks/SwiftUI.framework", "platform.declarative-ui");
  return bundle;
}

std::shared_ptr<const Bundle> Bundle::bundleForClass(const Class* cls) {
  if (cls == nullptr || !cls->bundle()) return mainBundle();
  return cls->bundle();
}

}  // namespace obx::platform
