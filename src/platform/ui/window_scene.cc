#include "platform/ui/window_scene.h"

#include <algorithm>

#include "platform/runtime/runtime.h"
#include "platform/ui/window.h"

namespace obx::platform {

Class* WindowScene::runtimeClass() {
  static Class* const cls = registerClass("WindowScene", Object::runtimeClass(), typeid(WindowScene));
  return cls;
}

WindowScene::WindowScene() { setDeclaredClass(runtimeClass()); }

std::vector<std::shared_ptr<Window>> WindowScene::windows() const {
  std::vector<std::shared_ptr<Window>> list;
  for (const auto& weak : windows_) {
    if (auto window = weak.lock()) list.push_back(window);
  }
  return list;
}

void WindowScene::addWindow(const std::shared_ptr<Window>& window) {
  removeWindow(window.get());
  windows_.push_back(window);
}

void WindowScene::removeWindow(const Window* window) {
  windows_.erase(std::remove_if(windows_.begin(), windows_.end(),
                                [&](const std::weak_ptr<Window>& weak) {
                                  auto live = weak.lock();
                                  return !live || live.get() == window;
                                }),
                 windows_.end());
}

}  // namespace obx::platform
