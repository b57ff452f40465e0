#include "platform/ui/control.h"

#include <algorithm>

namespace obx::platform {

void Control::setEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  visualStateChanged();
}

void Control::setSelected(bool selected) {
  if (selected == selected_) return;
  selected_ = selected;
  visualStateChanged();
}

void Control::setHighlighted(bool highlighted) {
  if (highlighted == highlighted_) return;
  highlighted_ = highlighted;
  visualStateChanged();
}

void Control::addTarget(const std::shared_ptr<Object>& target, Selector action, std::uint32_t events) {
  Entry entry;
  entry.target = target;
  entry.hasTarget = true;
  entry.action = std::move(action);
  entry.events = events;
  entries_.push_back(std::move(entry));
}

void Control::removeTarget(const Object* target, const Selector& action, std::uint32_t events) {
  for (auto& entry : entries_) {
    if (!entry.hasTarget) continue;
    auto live = entry.target.lock();
    if ((target == nullptr || live.get() == target) && (action.empty() || entry.action == action)) {
      entry.events &= ~events;
    }
  }
  entries_.erase(std::remove_if(entries_.begin(), entries_.end(), [](const Entry& e) { return e.events == 0; }),
                 entries_.end());
}

void Control::addAction(std::function<void(Control&)> action, std::uint32_t events) {
  Entry entry;
  entry.block = std::move(action);
  entry.events = events;
  entries_.push_back(std::move(entry));
}

std::vector<std::shared_ptr<Object>> Control::allTargets() const {
  std::vector<std::shared_ptr<Object>> targets;
  for (const auto& entry : entries_) {
    auto live = entry.target.lock();
    if (live && std::find(targets.begin(), targets.end(), live) == targets.end()) targets.push_back(live);
  }
  return targets;
}

std::uint32_t Control::allControlEvents() const {
  std::uint32_t events = 0;
  for (const auto& entry : entries_) events |= entry.events;
  return events;
}

std::vector<Selector> Control::actionsForTarget(const Object* target, std::uint32_t event) const {
  std::vector<Selector> actions;
  for (const auto& entry : entries_) {
    if (entry.hasTarget && entry.target.lock().get() == target && (entry.events & event) != 0) {
      actions.push_back(entry.action);
    }
  }
  return actions;
}

void Control::sendActionsForControlEvents(std::uint32_t events) {
  auto keep = sharedAs<Control>();
  std::vector<Entry> entries = entries_;  // an action may add or remove targets
  for (const auto& entry : entries) {
    if ((entry.events & events) == 0) continue;
    if (entry.block) {
      entry.block(*this);
    } else if (auto target = entry.target.lock()) {
      sendMessage<void(Object*)>(*target, entry.action, static_cast<Object*>(this));
    }
  }
}

void Control::tap() {
  if (!enabled_) return;
  setHighlighted(true);
  sendActionsForControlEvents(kControlEventTouchDown);
  setHighlighted(false);
  sendActionsForControlEvents(kControlEventTouchUpInside | kControlEventPrimaryActionTriggered);
}

void Control::describeState(std::vector<std::string>& parts) const {
  if (!enabled_) parts.push_back("enabled = NO");
  if (selected_) parts.push_back("selected = YES");
  if (highlighted_) parts.push_back("highlighted = YES");
}

}  // namespace obx::platform
