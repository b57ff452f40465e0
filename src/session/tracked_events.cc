#include "session/tracked_events.h"

namespace obx {

TrackedEvents::TrackedEvents(std::shared_ptr<EventNotifier> notifier) : notifier_(std::move(notifier)) {}

void TrackedEvents::add(std::shared_ptr<TrackedEventObserverValue> observer) {
  if (notifier_) notifier_->observe(std::move(observer));
}

void TrackedEvents::remove(const std::shared_ptr<TrackedEventObserverValue>& observer) {
  if (notifier_) notifier_->remove(observer);
}

void TrackedEvents::sendGoal(const std::string& name, std::optional<float> value) {
  send(TrackedEvent{EventType::goal, Goal{name, "", value.value_or(0.0f)}});
}

void TrackedEvents::sendDimension(const std::string& name, const std::string& value) {
  send(TrackedEvent{EventType::dimension, CustomDimension(name, value)});
}

void TrackedEvents::sendDimension(const std::string& name, bool value) {
  send(TrackedEvent{EventType::dimension, CustomDimension(name, value)});
}

void TrackedEvents::sendDimension(const std::string& name, double value) {
  send(TrackedEvent{EventType::dimension, CustomDimension(name, value)});
}

void TrackedEvents::sendError(const std::string& text) { send(TrackedEvent{EventType::appError, AppError{text}}); }

void TrackedEvents::sendHTTPError(int statusCode) {
  send(TrackedEvent{EventType::httpError, HTTPError{std::to_string(statusCode)}});
}

void TrackedEvents::formSuccess() {
  send(TrackedEvent{EventType::formSuccess, FormSuccess{true, std::nullopt, std::nullopt}});
}

void TrackedEvents::formError(const std::string& error, std::optional<std::string> selector) {
  send(TrackedEvent{EventType::formSuccess, FormSuccess{false, error, std::move(selector)}});
}

void TrackedEvents::send(TrackedEvent event) {
  event_.set(event);
  if (notifier_) notifier_->notify(std::optional<TrackedEvent>(std::move(event)));
}

}  // namespace obx
