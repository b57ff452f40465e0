#include "platform/ui/window.h"

#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window_scene.h"

namespace obx::platform {

Class* Window::runtimeClass() {
  static Class* const cls = registerClass("Window", View::runtimeClass(), typeid(Window));
  return cls;
}

Window::Window() : Window(Application::shared()->mainScreen()->bounds()) {}

Window::Window(Rect frame, std::shared_ptr<WindowScene> scene) : View(frame) {
  setDeclaredClass(runtimeClass());
  windowScene_ = scene ? scene : Application::shared()->defaultScene();
}

void Window::setWindowScene(const std::shared_ptr<WindowScene>& scene) { windowScene_ = scene; }

void Window::setRootViewController(std::shared_ptr<ViewController> controller) {
  if (controller == rootViewController_) return;
  auto previous = rootViewController_;
  if (controller) controller->view();  // loaded before any callback
  const bool showing = isVisible();
  if (previous && showing) previous->beginAppearanceTransition(false, false);
  if (controller && showing) controller->beginAppearanceTransition(true, false);
  if (previous && previous->isViewLoaded()) previous->view()->removeFromSuperview();
  rootViewController_ = controller;
  if (controller) {
    auto rootView = controller->view();
    rootView->setFrame(bounds());
    addSubview(rootView);
  }
  if (previous && showing) previous->endAppearanceTransition();
  if (controller && showing) controller->endAppearanceTransition();
}

void Window::makeKeyAndVisible() {
  auto application = Application::shared();
  auto self = sharedAs<Window>();
  application->addWindow(self);
  if (auto scene = windowScene_.lock()) scene->addWindow(self);
  application->setKeyWindow(self);
  setHidden(false);
  setNeedsLayout();
  if (visible_) return;
  visible_ = true;
  if (rootViewController_) {
    rootViewController_->beginAppearanceTransition(true, false);
    rootViewController_->endAppearanceTransition();
  }
}

void Window::scheduleLayoutPass() {
  if (layoutPassScheduled_) return;
  std::weak_ptr<Object> weak = weak_from_this();
  if (weak.expired()) return;  // still being made; the pass comes with the first change once shared
  layoutPassScheduled_ = true;
  Application::shared()->mainQueue()->async([weak] {
    auto self = std::static_pointer_cast<Window>(weak.lock());
    if (!self) return;
    self->layoutPassScheduled_ = false;
    self->layoutIfNeeded();
  });
}

void Window::makeKeyWindow() { Application::shared()->setKeyWindow(sharedAs<Window>()); }

bool Window::isKeyWindow() const { return Application::shared()->keyWindow().get() == this; }

void Window::resignAndRemove() {
  auto keep = sharedAs<Window>();
  if (visible_ && rootViewController_) {
    rootViewController_->beginAppearanceTransition(false, false);
    rootViewController_->endAppearanceTransition();
  }
  visible_ = false;
  setHidden(true);
  if (auto scene = windowScene_.lock()) scene->removeWindow(this);
  Application::shared()->removeWindow(this);
}

}  // namespace obx::platform
