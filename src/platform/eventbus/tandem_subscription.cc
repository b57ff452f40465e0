#include "platform/eventbus/tandem_subscription.h"

#include "platform/eventbus/tandem_event_bus.h"

namespace obx::platform {

void TandemSubscription::unsubscribe() {
  if (ended_.exchange(true)) return;
  if (auto bus = bus_.lock()) bus->removeSubscriber(identifier_);
}

}  // namespace obx::platform
