// Control: a view that turns user interaction into actions for targets. A target is an object and
// a selector sent to it with the control as argument (`void(Object& target, Object* sender)` in the
// target's method table), or a block. Main queue only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

enum ControlEvents : std::uint32_t {
  kControlEventTouchDown = 1u << 0,
  kControlEventTouchUpInside = 1u << 6,
  kControlEventTouchUpOutside = 1u << 7,
  kControlEventValueChanged = 1u << 12,
  kControlEventPrimaryActionTriggered = 1u << 13,
  kControlEventEditingDidBegin = 1u << 16,
  kControlEventEditingChanged = 1u << 17,
  kControlEventEditingDidEnd = 1u << 18,
  kControlEventEditingDidEndOnExit = 1u << 19,
  kControlEventAllEvents = 0xFFFFFFFFu,
};

// The signature of an action method in a target's method table.
using ActionSignature = void(Object&, Object*);

class Control : public View {
 public:
  OBX_RUNTIME_CLASS(Control, "Control", View)
  Control() : Control(Rect{}) {}
  explicit Control(Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }

  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  bool isSelected() const { return selected_; }
  void setSelected(bool selected);
  bool isHighlighted() const { return highlighted_; }
  void setHighlighted(bool highlighted);

  // The target is held weakly, as on the platform.
  void addTarget(const std::shared_ptr<Object>& target, Selector action, std::uint32_t events);
  void removeTarget(const Object* target, const Selector& action, std::uint32_t events);
  void addAction(std::function<void(Control&)> action, std::uint32_t events);
  // Targets still alive.
  std::vector<std::shared_ptr<Object>> allTargets() const;
  std::uint32_t allControlEvents() const;
  std::vector<Selector> actionsForTarget(const Object* target, std::uint32_t event) const;
  // Sends the actions registered for any of `events`, in the order they were added.
  void sendActionsForControlEvents(std::uint32_t events);

  // A finger taps the control: touch down, then touch up inside, then the kind's primary action.
  virtual void tap();

 protected:
  void describeState(std::vector<std::string>& parts) const override;

 private:
  struct Entry {
    std::weak_ptr<Object> target;
    bool hasTarget = false;
    Selector action;
    std::function<void(Control&)> block;
    std::uint32_t events = 0;
  };
  bool enabled_ = true;
  bool selected_ = false;
  bool highlighted_ = false;
  std::vector<Entry> entries_;
};

}  // namespace obx::platform
