// TandemSubscriber: what an SDK implements to hear the bus. Both calls come on the thread of whoever
// made them happen (the emitter, or the subscriber itself for `onSubscribeQueue`), never under a
// lock of the bus, so a handler may emit or unsubscribe.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/eventbus/tandem_event.h"

namespace obx::platform {

class TandemSubscriber {
 public:
  virtual ~TandemSubscriber() = default;
  // One event emitted on the bus, this subscriber's own included.
  virtual void onEventEvent(const std::shared_ptr<const TandemEvent>& event) = 0;
  // Right after subscribing: `queue`, the events emitted before, oldest first; `stack`, the class
  // names of the events seen so far, the latest first, each once.
  virtual void onSubscribeQueue(const std::vector<std::shared_ptr<const TandemEvent>>& queue,
                                const std::vector<std::string>& stack) = 0;
};

}  // namespace obx::platform
