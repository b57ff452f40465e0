#include "platform/ui/view_controller.h"

#include <algorithm>

#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/window.h"

namespace obx::platform {

Class* ViewController::runtimeClass() {
  static Class* const cls = [] {
    Class* c = registerClass("ViewController", Object::runtimeClass(), typeid(ViewController));
    c->addMethod(selectors::viewDidLoad, implementationOf(&ViewController::viewDidLoad));
    c->addMethod(selectors::viewWillAppear, implementationOf(&ViewController::viewWillAppear));
    c->addMethod(selectors::viewDidAppear, implementationOf(&ViewController::viewDidAppear));
    c->addMethod(selectors::viewWillDisappear, implementationOf(&ViewController::viewWillDisappear));
    c->addMethod(selectors::viewDidDisappear, implementationOf(&ViewController::viewDidDisappear));
    return c;
  }();
  return cls;
}

ViewController::ViewController() { setDeclaredClass(runtimeClass()); }

std::shared_ptr<View> ViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) view_ = std::make_shared<View>(Application::shared()->mainScreen()->bounds());
    sendMessage<void()>(*this, selectors::viewDidLoad);
  }
  return view_;
}

void ViewController::setView(std::shared_ptr<View> view) { view_ = std::move(view); }

void ViewController::loadView() { view_ = std::make_shared<View>(Application::shared()->mainScreen()->bounds()); }

void ViewController::beginAppearanceTransition(bool isAppearing, bool animated) {
  if (isAppearing) {
    if (isAppearingOrAppeared()) return;
    view();
    appearance_ = Appearance::appearing;
    sendMessage<void(bool)>(*this, selectors::viewWillAppear, animated);
  } else {
    if (!isAppearingOrAppeared()) return;
    appearance_ = Appearance::disappearing;
    sendMessage<void(bool)>(*this, selectors::viewWillDisappear, animated);
  }
  for (const auto& child : childViewControllersForAppearance()) child->beginAppearanceTransition(isAppearing, animated);
}

void ViewController::endAppearanceTransition() {
  if (appearance_ == Appearance::appearing) {
    appearance_ = Appearance::appeared;
    sendMessage<void(bool)>(*this, selectors::viewDidAppear, false);
  } else if (appearance_ == Appearance::disappearing) {
    appearance_ = Appearance::disappeared;
    sendMessage<void(bool)>(*this, selectors::viewDidDisappear, false);
  } else {
    return;
  }
  for (const auto& child : childViewControllersForAppearance()) child->endAppearanceTransition();
}

void ViewController::addChildViewController(const std::shared_ptr<ViewController>& child) {
  if (!child || child.get() == this) return;
  if (auto former = child->parent_.lock(); former && former.get() != this) former->removeChild(child.get());
  if (std::find(children_.begin(), children_.end(), child) == children_.end()) children_.push_back(child);
  child->parent_ = sharedAs<ViewController>();
}

void ViewController::removeChild(const ViewController* child) {
  children_.erase(std::remove_if(children_.begin(), children_.end(),
                                 [&](const auto& each) { return each.get() == child; }),
                  children_.end());
}

void ViewController::removeFromParentViewController() {
  auto parent = parent_.lock();
  if (!parent) return;
  auto keep = sharedAs<ViewController>();
  parent->removeChild(this);
  parent_.reset();
}

std::shared_ptr<NavigationController> ViewController::navigationController() const {
  for (auto parent = parent_.lock(); parent; parent = parent->parent_.lock()) {
    if (parent->isKindOfClass(NavigationController::runtimeClass())) return parent->sharedAs<NavigationController>();
  }
  return nullptr;
}

std::shared_ptr<TabBarController> ViewController::tabBarController() const {
  for (auto parent = parent_.lock(); parent; parent = parent->parent_.lock()) {
    if (parent->isKindOfClass(TabBarController::runtimeClass())) return parent->sharedAs<TabBarController>();
  }
  return nullptr;
}

void ViewController::transition(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to,
                                bool animated) {
  if (from == to) return;
  if (to) to->view();  // loaded before any callback, as the platform does when pushing
  const bool showing = isAppearingOrAppeared();
  if (from && showing) from->beginAppearanceTransition(false, animated);
  if (to && showing) to->beginAppearanceTransition(true, animated);
  if (from && from->isViewLoaded()) from->view()->removeFromSuperview();
  if (to) {
    auto toView = to->view();
    auto container = view();
    toView->setFrame(container->bounds());
    container->addSubview(toView);
  }
  if (from && showing) from->endAppearanceTransition();
  if (to && showing) to->endAppearanceTransition();
}

std::shared_ptr<ViewController> ViewController::rootOfContainment() {
  auto root = sharedAs<ViewController>();
  while (auto parent = root->parent_.lock()) root = parent;
  return root;
}

void ViewController::present(std::shared_ptr<ViewController> controller, bool animated,
                             std::function<void()> completion) {
  if (!controller || controller.get() == this) return;
  auto host = rootOfContainment();
  while (host->presented_) host = host->presented_;
  if (controller->presenting_.lock() || controller->parent_.lock()) return;  // already on screen elsewhere

  controller->view();
  const bool showing = host->isAppearingOrAppeared();
  auto window = host->isViewLoaded() ? host->view()->window() : nullptr;
  host->presented_ = controller;
  controller->presenting_ = host;
  if (showing) host->beginAppearanceTransition(false, animated);
  if (showing) controller->beginAppearanceTransition(true, animated);
  auto presentedView = controller->view();
  if (window) {
    presentedView->setFrame(window->bounds());
    window->addSubview(presentedView);
  }
  if (showing) host->endAppearanceTransition();
  if (showing) controller->endAppearanceTransition();
  if (completion) completion();
}

void ViewController::dismiss(bool animated, std::function<void()> completion) {
  auto root = rootOfContainment();
  std::shared_ptr<ViewController> presenter = root->presented_ ? root : root->presenting_.lock();
  if (!presenter) {
    if (completion) completion();
    return;
  }
  auto top = presenter->presented_;
  while (top->presented_) top = top->presented_;
  const bool showing = top->isAppearingOrAppeared();

  if (showing) top->beginAppearanceTransition(false, animated);
  if (showing) presenter->beginAppearanceTransition(true, animated);
  std::vector<std::shared_ptr<ViewController>> chain;
  for (auto each = presenter->presented_; each; each = each->presented_) chain.push_back(each);
  for (auto& each : chain) {
    if (each->isViewLoaded()) each->view()->removeFromSuperview();
    each->presenting_.reset();
  }
  for (auto& each : chain) each->presented_.reset();
  presenter->presented_.reset();
  if (showing) top->endAppearanceTransition();
  if (showing) presenter->endAppearanceTransition();
  if (completion) completion();
}

}  // namespace obx::platform
