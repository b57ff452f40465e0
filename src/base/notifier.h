// Notifier<T>: how a producer publishes a changing value. `observe`, `remove` and `notify` return at
// once; each submits a barrier block to the notifier's own concurrent queue, so notifications never
// overlap, keep their order, and never run observer code on the producer's thread. Each observer's
// update then runs on that observer's serial queue. A new observer does not receive the current
// value; whoever needs it reads `value()`. Observing the same observer twice is a no-op.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

template <typename T>
class Notifier {
 public:
  // `typeName` completes the queue label "obx.ombrix.notify.queue.<typeName>".
  Notifier(std::shared_ptr<platform::Scheduler> scheduler, T initial, const std::string& typeName)
      : state_(std::make_shared<State>(std::move(initial))),
        notifyQueue_(platform::DispatchQueue::makeConcurrent(std::move(scheduler),
                                                             "obx.ombrix.notify.queue." + typeName)) {}
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  void observe(std::shared_ptr<ObserverValue<T>> observer) {
    if (!observer) return;
    auto state = state_;
    notifyQueue_->asyncBarrier([state, observer = std::move(observer)] {
      state->observers.mutate([&](auto& list) {
        if (std::find(list.begin(), list.end(), observer) == list.end()) list.push_back(observer);
      });
    });
  }

  void remove(const std::shared_ptr<ObserverValue<T>>& observer) {
    if (!observer) return;
    auto state = state_;
    const ObserverValue<T>* identity = observer.get();
    notifyQueue_->asyncBarrier([state, identity] {
      state->observers.mutate([&](auto& list) {
        list.erase(std::remove_if(list.begin(), list.end(), [&](const auto& entry) { return entry.get() == identity; }),
                   list.end());
      });
    });
  }

  void notify(T newValue) {
    auto state = state_;
    notifyQueue_->asyncBarrier([state, newValue = std::move(newValue)]() mutable {
      T previous = state->value.get();
      state->value.set(newValue);
      auto observers = state->observers.get();
      for (const auto& observer : observers) observer->deliver(newValue, previous);
    });
  }

  // The value of the last notification that has run (the start value before any).
  T value() const { return state_->value.get(); }

  std::size_t observerCount() const { return state_->observers.get().size(); }

 private:
  struct State {
    explicit State(T initial) : value(std::move(initial)) {}
    ReadWriteLock<T> value;
    ReadWriteLock<std::vector<std::shared_ptr<ObserverValue<T>>>> observers;
  };

  std::shared_ptr<State> state_;
  std::shared_ptr<platform::DispatchQueue> notifyQueue_;
};

}  // namespace obx
