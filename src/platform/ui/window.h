// Window: the root of a view tree shown on the screen, holding the root view controller. A window
// joins the application's windows when made key and visible; its root controller's view fills it,
// and the controller receives its appearance callbacks when the window shows or changes root.
// Main queue only.
#pragma once

#include <memory>

#include "platform/ui/view.h"

namespace obx::platform {

class ViewController;
class WindowScene;

class Window : public View {
 public:
  static Class* runtimeClass();
  // A window filling the shared application's main screen, in its default scene.
  Window();
  explicit Window(Rect frame, std::shared_ptr<WindowScene> scene = nullptr);

  std::shared_ptr<ViewController> rootViewController() const { return rootViewController_; }
  void setRootViewController(std::shared_ptr<ViewController> controller);
  std::shared_ptr<WindowScene> windowScene() const { return windowScene_.lock(); }
  void setWindowScene(const std::shared_ptr<WindowScene>& scene);

  // Adds the window to the shared application, makes it key and shows it.
  void makeKeyAndVisible();
  void makeKeyWindow();
  bool isKeyWindow() const;
  // Shown and not hidden: its controllers have appeared.
  bool isVisible() const { return visible_ && !isHidden(); }
  double windowLevel() const { return windowLevel_; }
  void setWindowLevel(double level) { windowLevel_ = level; }
  // Hides the window and removes it from the application; its controllers disappear.
  void resignAndRemove();
  // Posts one layout pass of the window's tree to the main queue, unless one is waiting already.
  void scheduleLayoutPass();

 private:
  std::shared_ptr<ViewController> rootViewController_;
  std::weak_ptr<WindowScene> windowScene_;
  bool visible_ = false;
  double windowLevel_ = 0;
  bool layoutPassScheduled_ = false;
};

}  // namespace obx::platform
