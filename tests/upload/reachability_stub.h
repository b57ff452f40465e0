// A ReachabilityObserving whose connection the test sets; each change is delivered to the
// observers on their queues, as the real observer does.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "lifecycle/reachability_observing.h"

namespace obx::upload_testing {

class ReachabilityStub final : public ReachabilityObserving {
 public:
  explicit ReachabilityStub(std::optional<ReachabilityConnection> initial) : connection_(initial) {}

  void add(std::shared_ptr<ReachabilityObserverValue> observer) override { observers_.push_back(std::move(observer)); }
  void remove(const std::shared_ptr<ReachabilityObserverValue>& observer) override {
    observers_.erase(std::remove(observers_.begin(), observers_.end(), observer), observers_.end());
  }
  std::optional<ReachabilityConnection> connection() const override { return connection_; }

  void set(std::optional<ReachabilityConnection> connection) {
    auto previous = connection_;
    connection_ = connection;
    for (const auto& observer : observers_) observer->deliver(connection, previous);
  }
  std::size_t observerCount() const { return observers_.size(); }

 private:
  std::optional<ReachabilityConnection> connection_;
  std::vector<std::shared_ptr<ReachabilityObserverValue>> observers_;
};

}  // namespace obx::upload_testing
