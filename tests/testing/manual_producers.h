// Producers of the SDK's shared state that a test drives by hand: batches, the application's
// state, device performance, reachability and sessions, each publishing through a real Notifier on the
// test's scheduler, so observers hear them as they hear the SDK's own.
#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/notifier.h"
#include "lifecycle/observing.h"
#include "lifecycle/reachability_observing.h"
#include "session/session_life_cycle_observing.h"

namespace obx::testing {

template <typename Value, typename Interface>
class ManualProducer : public Interface {
 public:
  ManualProducer(std::shared_ptr<platform::Scheduler> scheduler, Value initial)
      : notifier_(std::move(scheduler), initial, "Manual"), current_(std::move(initial)) {}
  void add(std::shared_ptr<ObserverValue<Value>> observer) override { notifier_.observe(std::move(observer)); }
  void remove(const std::shared_ptr<ObserverValue<Value>>& observer) override { notifier_.remove(observer); }
  // Safe from any thread; the current value changes at once, as a real producer's does.
  void publish(Value value) {
    {
      std::lock_guard lock(mutex_);
      current_ = value;
    }
    notifier_.notify(std::move(value));
  }
  std::size_t observerCount() const { return notifier_.observerCount(); }

 protected:
  Value current() const {
    std::lock_guard lock(mutex_);
    return current_;
  }
  Notifier<Value> notifier_;

 private:
  mutable std::mutex mutex_;
  Value current_;
};

class ManualBatches : public ManualProducer<std::optional<BatchContext>, BatchCoordinatorObserving> {
 public:
  explicit ManualBatches(std::shared_ptr<platform::Scheduler> scheduler, std::optional<BatchContext> initial = {})
      : ManualProducer(std::move(scheduler), std::move(initial)) {}
  std::optional<BatchContext> batchContext() const override { return current(); }
};

class ManualAppCycle : public ManualProducer<AppStateCycle, AppLifeCycleObserving> {
 public:
  using ManualProducer::ManualProducer;
};

class ManualPerformance : public ManualProducer<std::optional<DeviceMeasure>, DevicePerformanceObserving> {
 public:
  using ManualProducer::ManualProducer;
  std::optional<DeviceMeasure> devicePerformance() const override { return current(); }
};

class ManualReachability : public ManualProducer<std::optional<ReachabilityConnection>, ReachabilityObserving> {
 public:
  using ManualProducer::ManualProducer;
  std::optional<ReachabilityConnection> connection() const override { return current(); }
};

// One session from the start, unless the test publishes another or none.
class ManualSessions : public ManualProducer<std::optional<SessionContext>, SessionLifeCycleObserving> {
 public:
  explicit ManualSessions(std::shared_ptr<platform::Scheduler> scheduler,
                          std::optional<SessionContext> initial = SessionContext{"SESSION-1|x", "LEAD1", std::nullopt})
      : ManualProducer(std::move(scheduler), std::move(initial)) {}
  std::optional<SessionContext> sessionContext() const override { return current(); }
  void open(std::string sessionID, std::string leadID) {
    publish(SessionContext{std::move(sessionID), std::move(leadID), std::nullopt});
  }
};

}  // namespace obx::testing
