// TandemEventBusAdapter: the platform's TandemEventBus seen as an OBXEventBus. It holds the bus it
// was given, so a bridge keeps working on it even if the bus is unloaded meanwhile.
#pragma once

#include <memory>

#include "bridge/obx_event_bus.h"
#include "platform/eventbus/tandem_event_bus.h"

namespace obx {

class TandemEventBusAdapter final : public OBXEventBus {
 public:
  explicit TandemEventBusAdapter(std::shared_ptr<platform::TandemEventBus> bus) : bus_(std::move(bus)) {}

  std::shared_ptr<platform::TandemSubscription> subscribe(
      const std::shared_ptr<platform::TandemSubscriber>& subscriber) override {
    return bus_ ? bus_->subscribe(subscriber) : nullptr;
  }
  void emit(const std::shared_ptr<const platform::TandemEvent>& event) override {
    if (bus_) bus_->emitEvent(event);
  }

 private:
  std::shared_ptr<platform::TandemEventBus> bus_;
};

}  // namespace obx
