// ObserverValue<T>: one subscription to a Notifier. Its update runs on the owner's serial queue with
// the new value first and the previous one second. Owners capture themselves weakly in `update`,
// so a delivery that arrives after the owner is gone does nothing.
#pragma once

#include <functional>
#include <memory>

#include "platform/dispatch/dispatch_queue.h"

namespace obx {

template <typename T>
class ObserverValue {
 public:
  using Update = std::function<void(const T& newValue, const T& previous)>;

  ObserverValue(std::shared_ptr<platform::DispatchQueue> queue, Update update)
      : queue_(std::move(queue)), update_(std::move(update)) {}
  static std::shared_ptr<ObserverValue> make(std::shared_ptr<platform::DispatchQueue> queue, Update update) {
    return std::make_shared<ObserverValue>(std::move(queue), std::move(update));
  }

  // Runs `update(newValue, previous)` asynchronously on the observer's queue.
  void deliver(T newValue, T previous) const {
    auto update = update_;
    queue_->async([update, newValue = std::move(newValue), previous = std::move(previous)] {
      if (update) update(newValue, previous);
    });
  }

  const std::shared_ptr<platform::DispatchQueue>& queue() const { return queue_; }

 private:
  std::shared_ptr<platform::DispatchQueue> queue_;
  Update update_;
};

}  // namespace obx
