// OBXEventBus: what the bridge needs of the bus of sibling SDKs: a subscription for one subscriber,
// and emitting an event. TandemEventBusAdapter gives it over the platform's bus; tests may give
// their own.
#pragma once

#include <memory>

#include "platform/eventbus/tandem_event.h"
#include "platform/eventbus/tandem_subscriber.h"
#include "platform/eventbus/tandem_subscription.h"

namespace obx {

class OBXEventBus {
 public:
  virtual ~OBXEventBus() = default;
  // The subscription of `subscriber`, or null when the bus refused it.
  virtual std::shared_ptr<platform::TandemSubscription> subscribe(
      const std::shared_ptr<platform::TandemSubscriber>& subscriber) = 0;
  virtual void emit(const std::shared_ptr<const platform::TandemEvent>& event) = 0;
};

}  // namespace obx
