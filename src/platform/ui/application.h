// Application: the running application as the toolkit sees it: its windows and key window, its
// connected scenes and their orientation, its state, and the process-wide services that hang off
// it (notification centre, main screen, device). `shared()` is the one instance; a test replaces it
// with `resetShared(scheduler)` to run on its own scheduler.
//
// Main queue only, except `shared()`, `notificationCenter()`, `mainScreen()` and `device()`, which
// any thread may call. State changes post the platform's notifications through the centre.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/runtime/object.h"
#include "platform/ui/device.h"
#include "platform/ui/notification_center.h"
#include "platform/ui/orientation.h"
#include "platform/ui/screen.h"
#include "platform/ui/window_scene.h"

namespace obx::platform {

class Event;
class Window;

namespace selectors {
inline constexpr const char* sendEvent = "sendEvent:";
}  // namespace selectors

// The signature of "sendEvent:" in the application's method table.
using SendEventSignature = void(Object&, const Event&);

enum class ApplicationState : int { active = 0, inactive = 1, background = 2 };

class Application : public Object {
 public:
  static Class* runtimeClass();

  // The shared application, made on first use on the default scheduler.
  static std::shared_ptr<Application> shared();
  // Replaces the shared application with a fresh one on `scheduler` and returns it.
  static std::shared_ptr<Application> resetShared(std::shared_ptr<Scheduler> scheduler);

  // An application with one connected scene, active, in portrait.
  explicit Application(std::shared_ptr<Scheduler> scheduler);

  std::shared_ptr<Scheduler> scheduler() const { return scheduler_; }
  std::shared_ptr<DispatchQueue> mainQueue() const { return scheduler_->mainQueue(); }
  std::shared_ptr<NotificationCenter> notificationCenter() const { return notificationCenter_; }
  std::shared_ptr<Screen> mainScreen() const { return mainScreen_; }
  std::shared_ptr<Device> device() const { return device_; }

  // Every window shown so far and not yet released, in the order they were made visible.
  std::vector<std::shared_ptr<Window>> windows() const;
  // The window that receives keyboard and other non-touch events; null before one is made key.
  std::shared_ptr<Window> keyWindow() const { return keyWindow_.lock(); }
  std::vector<std::shared_ptr<WindowScene>> connectedScenes() const { return scenes_; }
  // The first connected scene, where windows go unless told otherwise.
  std::shared_ptr<WindowScene> defaultScene() const { return scenes_.empty() ? nullptr : scenes_.front(); }
  std::shared_ptr<WindowScene> connectScene();
  InterfaceOrientation statusBarOrientation() const { return statusBarOrientation_; }
  ApplicationState applicationState() const { return applicationState_; }

  // The application's state transitions, as the system drives them. Each updates the state and
  // posts its notification.
  void becomeActive();
  void resignActive();
  void enterBackground();
  void enterForeground();
  // Moving to the background the way the system does: resign active, then enter background. And
  // back: enter foreground, then become active.
  void moveToBackground();
  void returnToForeground();

  // `sendEvent:`: the system hands the application an event. Sent through the object run-time, so a
  // replaced implementation sees every event; the toolkit's own handling counts it.
  void sendEvent(const Event& event);
  // Events that reached the toolkit's own implementation of "sendEvent:".
  std::uint64_t eventsDelivered() const { return eventsDelivered_; }

  // The device turns: its orientation, the scenes' and status bar's interface orientation and the
  // screen's bounds follow, and the orientation notification is posted.
  void rotate(DeviceOrientation orientation);

  // Called by Window.
  void addWindow(const std::shared_ptr<Window>& window);
  void removeWindow(const Window* window);
  void setKeyWindow(const std::shared_ptr<Window>& window);

 private:
  void post(const char* name);
  // The body of "sendEvent:".
  void deliverEvent(const Event& event);

  std::shared_ptr<Scheduler> scheduler_;
  std::shared_ptr<NotificationCenter> notificationCenter_;
  std::shared_ptr<Screen> mainScreen_;
  std::shared_ptr<Device> device_;
  std::vector<std::shared_ptr<Window>> windows_;
  std::weak_ptr<Window> keyWindow_;
  std::vector<std::shared_ptr<WindowScene>> scenes_;
  InterfaceOrientation statusBarOrientation_ = InterfaceOrientation::portrait;
  ApplicationState applicationState_ = ApplicationState::active;
  std::uint64_t eventsDelivered_ = 0;
};

}  // namespace obx::platform
