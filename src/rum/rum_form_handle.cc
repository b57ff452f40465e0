#include "rum/rum_form_handle.h"

#include <algorithm>
#include <utility>

#include "lifecycle/view_properties.h"
#include "platform/runtime/implementation.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/date_picker.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/picker_view.h"
#include "platform/ui/search_bar.h"
#include "platform/ui/segmented_control.h"
#include "platform/ui/slider.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/window.h"

namespace obx {
namespace {

constexpr const char* kButtonAction = "buttonWasClickedWithSender:";
constexpr const char* kSliderAction = "sliderWasClickedWithSender:";
constexpr const char* kDatePickerAction = "datePickerWasClickedWithSender:";
constexpr const char* kSegmentedAction = "segmentedWasClickedWithSender:";
constexpr const char* kPickerAction = "pickerWasClickedWithSender:";

// The kind of control `view` is, in the order the tests run; a search bar is none and is skipped
// with its subtree.
enum class Match { none, field, skip };

Match classify(const platform::View& view, FieldType& type) {
  using namespace platform;
  if (view.isKindOfClass(TextField::runtimeClass())) return type = FieldType::text, Match::field;
  if (view.isKindOfClass(TextView::runtimeClass())) return type = FieldType::textarea, Match::field;
  if (view.isKindOfClass(Button::runtimeClass())) return type = FieldType::button, Match::field;
  if (view.isKindOfClass(Switch::runtimeClass())) return type = FieldType::checkbox, Match::field;
  if (view.isKindOfClass(Slider::runtimeClass())) return type = FieldType::progressbar, Match::field;
  if (view.isKindOfClass(SearchBar::runtimeClass())) return Match::skip;
  if (view.isKindOfClass(PickerView::runtimeClass())) return type = FieldType::picker, Match::field;
  if (view.isKindOfClass(DatePicker::runtimeClass())) return type = FieldType::datepicker, Match::field;
  if (view.isKindOfClass(SegmentedControl::runtimeClass())) return type = FieldType::segment, Match::field;
  return Match::none;
}

// `view` is `root` or lies inside it.
bool isWithin(std::shared_ptr<platform::View> view, const platform::View& root) {
  for (; view; view = view->superview()) {
    if (view.get() == &root) return true;
  }
  return false;
}

// The controller on top: the last presented one, then down through tab bars and navigation stacks.
std::shared_ptr<platform::ViewController> topController() {
  auto window = platform::Application::shared()->keyWindow();
  if (!window) return nullptr;
  auto controller = window->rootViewController();
  if (!controller) return nullptr;
  while (auto presented = controller->presentedViewController()) controller = presented;
  while (controller) {
    if (controller->isKindOfClass(platform::TabBarController::runtimeClass())) {
      controller = static_cast<platform::TabBarController&>(*controller).selectedViewController();
    } else if (controller->isKindOfClass(platform::NavigationController::runtimeClass())) {
      const auto& stack = static_cast<platform::NavigationController&>(*controller).viewControllers();
      controller = stack.empty() ? nullptr : stack.back();
    } else {
      break;
    }
  }
  return controller;
}

}  // namespace

std::shared_ptr<RUMFormHandle> RUMFormHandle::make(std::shared_ptr<platform::Scheduler> scheduler,
                                                   std::shared_ptr<platform::NotificationCenter> notificationCenter) {
  auto handle = std::make_shared<RUMFormHandle>(std::move(scheduler), std::move(notificationCenter));
  handle->registerNotifications();
  return handle;
}

RUMFormHandle::RUMFormHandle(std::shared_ptr<platform::Scheduler> scheduler,
                             std::shared_ptr<platform::NotificationCenter> notificationCenter)
    : scheduler_(std::move(scheduler)), notificationCenter_(std::move(notificationCenter)) {}

RUMFormHandle::~RUMFormHandle() {
  if (auto link = displayLink_.get()) link->invalidate();
  if (notificationCenter_) {
    for (auto token : tokens_) notificationCenter_->removeObserver(token);
  }
}

void RUMFormHandle::registerNotifications() {
  // The controls find the actions in this class's method table.
  platform::Class* cls = getClass();
  cls->addMethod(kButtonAction, platform::implementationOf(&RUMFormHandle::buttonWasClickedWithSender));
  cls->addMethod(kSliderAction, platform::implementationOf(&RUMFormHandle::sliderWasClickedWithSender));
  cls->addMethod(kDatePickerAction, platform::implementationOf(&RUMFormHandle::datePickerWasClickedWithSender));
  cls->addMethod(kSegmentedAction, platform::implementationOf(&RUMFormHandle::segmentedWasClickedWithSender));
  cls->addMethod(kPickerAction, platform::implementationOf(&RUMFormHandle::pickerWasClickedWithSender));
  if (!notificationCenter_) return;

  std::weak_ptr<RUMFormHandle> weak = sharedAs<RUMFormHandle>();
  auto textField = [weak](const platform::Notification& notification) {
    if (auto self = weak.lock()) self->textFieldDidChange(notification);
  };
  auto textView = [weak](const platform::Notification& notification) {
    if (auto self = weak.lock()) self->textViewDidChange(notification);
  };
  auto main = scheduler_->mainQueue();
  for (const char* name : {platform::kTextViewTextDidChangeNotification, platform::kTextViewTextDidBeginEditingNotification,
                           platform::kTextViewTextDidEndEditingNotification}) {
    tokens_.push_back(notificationCenter_->addObserver(name, nullptr, textView, main));
  }
  for (const char* name : {platform::kTextFieldTextDidChangeNotification, platform::kTextFieldTextDidBeginEditingNotification,
                           platform::kTextFieldTextDidEndEditingNotification}) {
    tokens_.push_back(notificationCenter_->addObserver(name, nullptr, textField, main));
  }
  // A form marked while a screen runs without a scan starts one.
  auto formMarked = [weak](const platform::Notification&) {
    auto self = weak.lock();
    if (self && self->screen_.get().viewContext && !self->displayLink_.get()) self->startScan();
  };
  tokens_.push_back(notificationCenter_->addObserver(kOBXFormTrackDidChangeNotification, nullptr, formMarked, main));
}

void RUMFormHandle::start(const ViewContext& viewContext) {
  screen_.set(Screen{viewContext, scheduler_->clock().now()});
  formFields_.set({});
  fieldViews_.set({});
  fieldViewsErrors_.set({});
  formCompleteData_.set({});
  firstExecution_ = true;
  if (obxFormTrackedViews().empty()) {
    stopScan();
  } else {
    startScan();
  }
}

void RUMFormHandle::startScan() {
  std::weak_ptr<RUMFormHandle> weak = sharedAs<RUMFormHandle>();
  auto link = platform::DisplayLink::make(scheduler_->mainQueue(), 1.0, [weak](platform::Date) {
    if (auto self = weak.lock()) self->scanElements();
  });
  auto previous = displayLink_.mutate([&](auto& current) { return std::exchange(current, link); });
  if (previous) previous->invalidate();
  link->start();
}

void RUMFormHandle::stopScan() {
  if (auto link = displayLink_.mutate([](auto& current) { return std::exchange(current, nullptr); })) link->invalidate();
}

void RUMFormHandle::scanElements() {
  const auto marked = obxFormTrackedViews();
  if (marked.empty()) {
    stopScan();
    return;
  }
  auto controller = topController();
  if (!controller) return;
  auto root = controller->view();
  if (!root) return;
  // The walk is only worth it when a marked view is on this screen.
  if (std::none_of(marked.begin(), marked.end(), [&](const auto& view) { return isWithin(view, *root); })) return;

  std::vector<std::shared_ptr<platform::View>> stack{root};
  bool formFound = false;
  while (!stack.empty()) {
    if (obxFormTrack(*stack.back())) {
      formFound = true;
      break;
    }
    auto view = std::move(stack.back());
    stack.pop_back();
    for (const auto& subview : view->subviews()) stack.push_back(subview);
  }
  // Once the form is found, whatever else lay on the stack is walked with it.
  while (formFound && !stack.empty()) {
    auto view = std::move(stack.back());
    stack.pop_back();
    if (view->isHidden()) continue;
    FieldType type = FieldType::text;
    Match match = classify(*view, type);
    if (match == Match::skip) continue;
    if (match == Match::field) addField(*view, type);
    for (const auto& subview : view->subviews()) stack.push_back(subview);
  }
  firstExecution_ = false;
}

void RUMFormHandle::addField(platform::View& view, FieldType type) {
  std::optional<std::string> tag = obxStringTag(view);
  // Later scans add only the controls they have not named yet.
  if (!firstExecution_ && tag) return;
  if (!tag) {
    tag = rawValue(type) + std::to_string(formFields_.read([](const auto& fields) { return fields.size(); }));
    setObxStringTag(view, tag);
  }
  formFields_.mutate([&](std::vector<FieldList>& fields) { fields.push_back(FieldList{rawValue(type), *tag, *tag}); });
  connect(view, type);
}

void RUMFormHandle::connect(platform::View& view, FieldType type) {
  const char* action = nullptr;
  std::uint32_t events = platform::kControlEventValueChanged;
  switch (type) {
    case FieldType::button:
    case FieldType::checkbox:
      action = kButtonAction;
      events = platform::kControlEventTouchUpInside;
      break;
    case FieldType::progressbar: action = kSliderAction; break;
    case FieldType::datepicker: action = kDatePickerAction; break;
    case FieldType::segment: action = kSegmentedAction; break;
    default: return;  // text through notifications, pickers not at all
  }
  auto& control = static_cast<platform::Control&>(view);
  // A control seen on an earlier screen is connected already.
  if (!control.actionsForTarget(this, events).empty()) return;
  control.addTarget(shared_from_this(), action, events);
}

void RUMFormHandle::textFieldDidChange(const platform::Notification& notification) {
  auto* field = notification.object && notification.object->isKindOfClass(platform::TextField::runtimeClass())
                    ? static_cast<platform::TextField*>(notification.object.get())
                    : nullptr;
  if (!field) return;
  auto tag = obxStringTag(*field);
  if (!tag) return;
  Editing editing = notification.name == platform::kTextFieldTextDidBeginEditingNotification ? Editing::begin
                    : notification.name == platform::kTextFieldTextDidEndEditingNotification ? Editing::end
                                                                                               : Editing::change;
  textEdited(editing, *tag, field->text());
}

void RUMFormHandle::textViewDidChange(const platform::Notification& notification) {
  auto* textView = notification.object && notification.object->isKindOfClass(platform::TextView::runtimeClass())
                       ? static_cast<platform::TextView*>(notification.object.get())
                       : nullptr;
  if (!textView) return;
  auto tag = obxStringTag(*textView);
  if (!tag) return;
  Editing editing = notification.name == platform::kTextViewTextDidBeginEditingNotification ? Editing::begin
                    : notification.name == platform::kTextViewTextDidEndEditingNotification ? Editing::end
                                                                                              : Editing::change;
  textEdited(editing, *tag, textView->text());
}

void RUMFormHandle::textEdited(Editing editing, const std::string& tag, const std::string& text) {
  const double now = nowMilliseconds();
  switch (editing) {
    case Editing::begin: beginField(text, tag); return;
    case Editing::change:
      if (!currentFieldInfo_.selector) beginField(text, tag);
      if (currentFieldInfo_.editStart == 0) currentFieldInfo_.editStart = now;
      recordField(currentFieldInfo_.selector, text.empty(), true, true, now - currentFieldInfo_.focusStart,
                  currentFieldInfo_.editStart - currentFieldInfo_.focusStart);
      return;
    case Editing::end: {
      const bool edited = currentFieldInfo_.editStart > 0;
      recordField(currentFieldInfo_.selector, true, edited, edited, now - currentFieldInfo_.focusStart,
                  edited ? currentFieldInfo_.editStart - currentFieldInfo_.focusStart : 0.0);
      return;
    }
  }
}

void RUMFormHandle::beginField(const std::string& text, const std::string& tag) {
  currentFieldInfo_ = FieldInfo{tag, text, nowMilliseconds(), 0};
}

void RUMFormHandle::buttonWasClickedWithSender(platform::Object* sender) {
  if (!sender) return;
  if (sender->isKindOfClass(platform::Button::runtimeClass()) || sender->isKindOfClass(platform::Switch::runtimeClass())) {
    controlUsed(sender);
  }
}

void RUMFormHandle::sliderWasClickedWithSender(platform::Object* sender) {
  if (sender && sender->isKindOfClass(platform::Slider::runtimeClass())) controlUsed(sender);
}

void RUMFormHandle::datePickerWasClickedWithSender(platform::Object* sender) {
  if (sender && sender->isKindOfClass(platform::DatePicker::runtimeClass())) controlUsed(sender);
}

void RUMFormHandle::segmentedWasClickedWithSender(platform::Object* sender) {
  if (sender && sender->isKindOfClass(platform::SegmentedControl::runtimeClass())) controlUsed(sender);
}

void RUMFormHandle::pickerWasClickedWithSender(platform::Object* sender) {
  if (sender && sender->isKindOfClass(platform::PickerView::runtimeClass())) controlUsed(sender);
}

void RUMFormHandle::controlUsed(platform::Object* sender) {
  recordField(obxStringTag(static_cast<platform::View&>(*sender)), true, true, true, 0, 0);
}

void RUMFormHandle::recordField(const std::optional<std::string>& selector, bool completed, bool interacted,
                                bool changed, double time, double delay) {
  Screen screen = screen_.get();
  if (!screen.viewContext || !selector) return;
  FieldView view;
  view.offset = offset(screen);
  view.interacted = interacted ? 1 : 0;
  view.formHash = screen.viewContext->name;
  view.completed = completed ? 1 : 0;
  view.delay = static_cast<std::int64_t>(delay);
  view.changed = changed ? 1 : 0;
  view.field = *selector;
  fieldViews_.mutate([&](std::map<std::string, FieldView>& views) {
    std::int64_t timeInteracting = static_cast<std::int64_t>(time);
    if (auto found = views.find(*selector); found != views.end()) timeInteracting += found->second.timeInteracting.value_or(0);
    view.timeInteracting = timeInteracting;
    views[*selector] = view;
  });
}

void RUMFormHandle::formResult(bool success, const std::optional<std::string>& selector,
                               const std::optional<std::string>& error) {
  Screen screen = screen_.get();
  if (!screen.viewContext) return;
  const std::int64_t at = offset(screen);
  const std::string& formHash = screen.viewContext->name;
  if (success) {
    formCompleteData_.mutate([&](std::vector<FormView>& list) { list.push_back(FormView{1, at, formHash, 1, std::nullopt}); });
    return;
  }
  formCompleteData_.mutate(
      [&](std::vector<FormView>& list) { list.push_back(FormView{std::nullopt, at, formHash, std::nullopt, 1}); });
  if (!selector) return;
  FieldView fieldError;
  fieldError.offset = at;
  fieldError.formHash = formHash;
  fieldError.field = *selector;
  fieldError.errorDesc = error.value_or("");
  fieldError.error = 1;
  fieldViewsErrors_.mutate([&](std::vector<FieldView>& list) { list.push_back(std::move(fieldError)); });
}

std::vector<TrackedEvent> RUMFormHandle::finish() {
  stopScan();
  // Each list is taken and emptied in one step, so a field recorded meanwhile is never wiped
  // unread; nothing is recorded for this screen once it has ended.
  Screen screen = screen_.mutate([](Screen& current) { return std::exchange(current, Screen{}); });
  std::vector<FieldList> fields = formFields_.mutate([](auto& list) { return std::exchange(list, {}); });
  auto completions = formCompleteData_.mutate([](auto& list) { return std::exchange(list, {}); });
  auto views = fieldViews_.mutate([](auto& map) { return std::exchange(map, {}); });
  auto errors = fieldViewsErrors_.mutate([](auto& list) { return std::exchange(list, {}); });
  std::vector<TrackedEvent> events;
  if (fields.empty()) return events;
  if (screen.viewContext) {
    const std::string& name = screen.viewContext->name;
    events.emplace_back(EventType::formMeta, FormMeta{name, "1", fields, 1, "form-for-" + name, "form-for-" + name, 0});
  }
  for (FormView& view : completions) events.emplace_back(EventType::formView, std::move(view));
  for (auto& [selector, view] : views) events.emplace_back(EventType::fieldView, std::move(view));
  for (FieldView& view : errors) events.emplace_back(EventType::fieldView, std::move(view));
  return events;
}

std::int64_t RUMFormHandle::offset(const Screen& screen) const {
  if (!screen.startTimeStamp) return 0;
  return static_cast<std::int64_t>(scheduler_->clock().now() - *screen.startTimeStamp) * 1000;
}

double RUMFormHandle::nowMilliseconds() const { return scheduler_->clock().now() * 1000.0; }

}  // namespace obx
