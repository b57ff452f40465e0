// WindowScene: one connected scene of the application, holding windows and the interface
// orientation they are shown in. Main queue only.
#pragma once

#include <memory>
#include <vector>

#include "platform/runtime/object.h"
#include "platform/ui/orientation.h"

namespace obx::platform {

class Window;

enum class SceneActivationState : int { unattached = -1, foregroundActive = 0, foregroundInactive = 1, background = 2 };

class WindowScene : public Object {
 public:
  static Class* runtimeClass();
  WindowScene();

  InterfaceOrientation interfaceOrientation() const { return interfaceOrientation_; }
  void setInterfaceOrientation(InterfaceOrientation orientation) { interfaceOrientation_ = orientation; }
  SceneActivationState activationState() const { return activationState_; }
  void setActivationState(SceneActivationState state) { activationState_ = state; }
  // The scene's windows that still exist, in the order they joined it.
  std::vector<std::shared_ptr<Window>> windows() const;
  void addWindow(const std::shared_ptr<Window>& window);
  void removeWindow(const Window* window);

 private:
  InterfaceOrientation interfaceOrientation_ = InterfaceOrientation::portrait;
  SceneActivationState activationState_ = SceneActivationState::foregroundActive;
  std::vector<std::weak_ptr<Window>> windows_;
};

}  // namespace obx::platform
