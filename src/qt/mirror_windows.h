// MirrorWindows: the application's windows as the SDK sees them, whatever source of views feeds them.
// The widget source (widget_source.h) hands it one platform window per top-level widget; a Qt Quick
// source would hand it one per QQuickWindow, through the same calls. It keeps the platform
// application's windows, the key window and the main screen in step with what the sources report:
//
// - the key window is the active one, else the one shown last;
// - only the key window's controllers have appeared, so that screen detection follows the window the
//   user works in: a window's controllers appear when it becomes key and disappear when it stops;
// - the main screen's bounds are the key window's size, so that images are the size of that window.
//
// GUI thread only (the SDK's main queue runs there once attached).
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/application.h"
#include "platform/ui/window.h"

namespace obx::qt {

class MirrorWindows {
 public:
  explicit MirrorWindows(std::shared_ptr<platform::Application> application);
  // Removes every window still shown, ending its controllers' appearance.
  ~MirrorWindows();

  // A window appears and becomes key, as a newly shown window does.
  void windowShown(const std::shared_ptr<platform::Window>& window);
  // A window goes; the key passes to the one shown last of those left.
  void windowHidden(const std::shared_ptr<platform::Window>& window);
  // The user's focus moved to `window`.
  void windowActivated(const std::shared_ptr<platform::Window>& window);
  // A window's size changed.
  void windowResized(const std::shared_ptr<platform::Window>& window);
  // A shown window's root controller was replaced (and has appeared, as the platform makes it).
  void rootControllerReplaced(const std::shared_ptr<platform::Window>& window);

  std::shared_ptr<platform::Window> keyWindow() const;
  const std::vector<std::shared_ptr<platform::Window>>& shown() const { return shown_; }

 private:
  void makeKey(const std::shared_ptr<platform::Window>& window);
  static void appear(const std::shared_ptr<platform::Window>& window, bool appearing);

  std::shared_ptr<platform::Application> application_;
  // In the order they were shown; the last is on top.
  std::vector<std::shared_ptr<platform::Window>> shown_;
  std::shared_ptr<platform::Window> key_;
};

}  // namespace obx::qt
