// TrackedEvents: turns the facade's goal, dimension, error and form calls into TrackedEvent values
// and publishes them. Each operation runs on the caller's thread and returns at once; observers get
// the event on their own queue.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/notifier.h"
#include "base/read_write_lock.h"
#include "session/tracked_events_observing.h"

namespace obx {

class TrackedEvents final : public TrackedEventsObserving {
 public:
  using EventNotifier = Notifier<std::optional<TrackedEvent>>;

  // `notifier` may be null: the events are then kept as `event()` only.
  explicit TrackedEvents(std::shared_ptr<EventNotifier> notifier);

  void add(std::shared_ptr<TrackedEventObserverValue> observer) override;
  void remove(const std::shared_ptr<TrackedEventObserverValue>& observer) override;
  std::optional<TrackedEvent> event() const override { return event_.get(); }

  // goal: `goalName` the name, `currency` "", `value` the value or 0.0.
  void sendGoal(const std::string& name, std::optional<float> value);
  void sendDimension(const std::string& name, const std::string& value);
  void sendDimension(const std::string& name, bool value);
  void sendDimension(const std::string& name, double value);
  // appError with the text.
  void sendError(const std::string& text);
  // httpError with the code as decimal text.
  void sendHTTPError(int statusCode);
  // formSuccess with success true.
  void formSuccess();
  // formSuccess with success false, the error text and, when a view was given, its string tag.
  void formError(const std::string& error, std::optional<std::string> selector);

 private:
  void send(TrackedEvent event);

  std::shared_ptr<EventNotifier> notifier_;
  ReadWriteLock<std::optional<TrackedEvent>> event_;
};

}  // namespace obx
