#include "platform/ui/application.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/runtime/runtime.h"
#include "platform/ui/event.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/window.h"

namespace obx::platform {
namespace {

std::mutex sharedMutex;
std::shared_ptr<Application>& sharedSlot() {
  static std::shared_ptr<Application> slot;
  return slot;
}

}  // namespace

Class* Application::runtimeClass() {
  static Class* const cls = [] {
    Class* c = registerClass("Application", Object::runtimeClass(), typeid(Application));
    c->addMethod(selectors::sendEvent, implementationOf(&Application::deliverEvent));
    return c;
  }();
  return cls;
}

std::shared_ptr<Application> Application::shared() {
  std::lock_guard lock(sharedMutex);
  auto& slot = sharedSlot();
  if (!slot) slot = std::make_shared<Application>(defaultScheduler());
  return slot;
}

std::shared_ptr<Application> Application::resetShared(std::shared_ptr<Scheduler> scheduler) {
  auto fresh = std::make_shared<Application>(std::move(scheduler));
  std::shared_ptr<Application> previous;  // released outside the lock
  std::lock_guard lock(sharedMutex);
  previous = std::exchange(sharedSlot(), fresh);
  return fresh;
}

Application::Application(std::shared_ptr<Scheduler> scheduler)
    : scheduler_(std::move(scheduler)),
      notificationCenter_(std::make_shared<NotificationCenter>(scheduler_)),
      mainScreen_(std::make_shared<Screen>()),
      device_(std::make_shared<Device>()) {
  setDeclaredClass(runtimeClass());
  scenes_.push_back(std::make_shared<WindowScene>());
}

std::shared_ptr<WindowScene> Application::connectScene() {
  auto scene = std::make_shared<WindowScene>();
  scene->setInterfaceOrientation(statusBarOrientation_);
  scenes_.push_back(scene);
  return scene;
}

std::vector<std::shared_ptr<Window>> Application::windows() const { return windows_; }

void Application::addWindow(const std::shared_ptr<Window>& window) {
  if (!window) return;
  if (std::find(windows_.begin(), windows_.end(), window) == windows_.end()) windows_.push_back(window);
}

void Application::removeWindow(const Window* window) {
  windows_.erase(std::remove_if(windows_.begin(), windows_.end(),
                                [&](const std::shared_ptr<Window>& each) { return each.get() == window; }),
                 windows_.end());
  if (keyWindow_.lock().get() == window) keyWindow_.reset();
}

void Application::setKeyWindow(const std::shared_ptr<Window>& window) { keyWindow_ = window; }

void Application::sendEvent(const Event& event) {
  sendMessage<void(const Event&)>(*this, selectors::sendEvent, event);
}

void Application::deliverEvent(const Event&) { ++eventsDelivered_; }

void Application::post(const char* name) { notificationCenter_->post(name, sharedAs<Application>()); }

void Application::becomeActive() {
  applicationState_ = ApplicationState::active;
  for (auto& scene : scenes_) scene->setActivationState(SceneActivationState::foregroundActive);
  post(kApplicationDidBecomeActiveNotification);
}

void Application::resignActive() {
  applicationState_ = ApplicationState::inactive;
  for (auto& scene : scenes_) scene->setActivationState(SceneActivationState::foregroundInactive);
  post(kApplicationWillResignActiveNotification);
}

void Application::enterBackground() {
  applicationState_ = ApplicationState::background;
  for (auto& scene : scenes_) scene->setActivationState(SceneActivationState::background);
  post(kApplicationDidEnterBackgroundNotification);
}

void Application::enterForeground() {
  applicationState_ = ApplicationState::inactive;
  for (auto& scene : scenes_) scene->setActivationState(SceneActivationState::foregroundInactive);
  post(kApplicationWillEnterForegroundNotification);
}

void Application::moveToBackground() {
  resignActive();
  enterBackground();
}

void Application::returnToForeground() {
  enterForeground();
  becomeActive();
}

void Application::rotate(DeviceOrientation orientation) {
  device_->setOrientation(orientation);
  InterfaceOrientation interface = interfaceOrientationFor(orientation);
  if (interface != InterfaceOrientation::unknown && interface != statusBarOrientation_) {
    const bool wasLandscape = isLandscape(statusBarOrientation_);
    statusBarOrientation_ = interface;
    for (auto& scene : scenes_) scene->setInterfaceOrientation(interface);
    if (wasLandscape != isLandscape(interface)) {
      Rect bounds = mainScreen_->bounds();
      std::swap(bounds.size.width, bounds.size.height);
      mainScreen_->setBounds(bounds);
      for (auto& window : windows_) window->setFrame(bounds);
    }
  }
  notificationCenter_->post(kDeviceOrientationDidChangeNotification, nullptr);
}

}  // namespace obx::platform
