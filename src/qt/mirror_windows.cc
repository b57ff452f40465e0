#include "qt/mirror_windows.h"

#include <algorithm>

#include "platform/ui/view_controller.h"

namespace obx::qt {

MirrorWindows::MirrorWindows(std::shared_ptr<platform::Application> application) : application_(std::move(application)) {}

MirrorWindows::~MirrorWindows() {
  auto windows = shown_;
  for (auto it = windows.rbegin(); it != windows.rend(); ++it) windowHidden(*it);
}

void MirrorWindows::windowShown(const std::shared_ptr<platform::Window>& window) {
  if (!window || std::find(shown_.begin(), shown_.end(), window) != shown_.end()) return;
  shown_.push_back(window);
  auto previous = key_;
  key_ = window;
  if (previous) appear(previous, false);
  // Adds the window to the application, makes it key and makes its controllers appear.
  window->makeKeyAndVisible();
  application_->mainScreen()->setBounds(platform::Rect{{0, 0}, window->frame().size});
}

void MirrorWindows::windowHidden(const std::shared_ptr<platform::Window>& window) {
  auto found = std::find(shown_.begin(), shown_.end(), window);
  if (found == shown_.end()) return;
  shown_.erase(found);
  const bool wasKey = key_ == window;
  if (wasKey) key_ = nullptr;
  // Its controllers disappear here unless they already did when it lost the key.
  window->resignAndRemove();
  if (wasKey && !shown_.empty()) makeKey(shown_.back());
}

void MirrorWindows::windowActivated(const std::shared_ptr<platform::Window>& window) {
  if (!window || window == key_ || std::find(shown_.begin(), shown_.end(), window) == shown_.end()) return;
  makeKey(window);
}

void MirrorWindows::windowResized(const std::shared_ptr<platform::Window>& window) {
  if (window && window == key_) application_->mainScreen()->setBounds(platform::Rect{{0, 0}, window->frame().size});
}

void MirrorWindows::rootControllerReplaced(const std::shared_ptr<platform::Window>& window) {
  // A shown window's new root appears at once; only the key window's may stay so.
  if (window && window != key_) appear(window, false);
}

std::shared_ptr<platform::Window> MirrorWindows::keyWindow() const { return key_; }

void MirrorWindows::makeKey(const std::shared_ptr<platform::Window>& window) {
  auto previous = key_;
  key_ = window;
  // The key moves before the callbacks: screen detection, which they schedule, reads it.
  window->makeKeyWindow();
  application_->mainScreen()->setBounds(platform::Rect{{0, 0}, window->frame().size});
  if (previous) appear(previous, false);
  appear(window, true);
}

void MirrorWindows::appear(const std::shared_ptr<platform::Window>& window, bool appearing) {
  auto root = window->rootViewController();
  if (!root) return;
  root->beginAppearanceTransition(appearing, false);
  root->endAppearanceTransition();
}

}  // namespace obx::qt
