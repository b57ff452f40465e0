// TandemSubscription: one subscriber's place on the bus. `unsubscribe` ends it (later calls do
// nothing); dropping the subscription without it leaves the subscriber on the bus until the
// subscriber itself is gone, as the bus holds subscribers weakly. Any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace obx::platform {

class TandemEventBus;

class TandemSubscription {
 public:
  TandemSubscription(std::weak_ptr<TandemEventBus> bus, std::uint64_t identifier)
      : bus_(std::move(bus)), identifier_(identifier) {}

  void unsubscribe();
  bool isActive() const { return !ended_.load(); }

 private:
  std::weak_ptr<TandemEventBus> bus_;
  const std::uint64_t identifier_;
  std::atomic<bool> ended_{false};
};

}  // namespace obx::platform
