// URLInterceptorObserving: one interceptor of the URL session's factory operations, as the network
// core sees it: it is started once, and publishes each finished request it measured to observers
// added here, on their own queues.
#pragma once

#include <memory>
#include <optional>

#include "base/observer_value.h"
#include "network/url_session_data_intercepted.h"

namespace obx {

using InterceptedObserverValue = ObserverValue<std::optional<URLSessionDataIntercepted>>;

class URLInterceptorObserving {
 public:
  virtual ~URLInterceptorObserving() = default;
  // Installs the interception. A failure is logged and leaves this operation unmeasured.
  virtual void start() = 0;
  // Puts the operation's previous implementation back; later completions report nothing.
  virtual void stop() = 0;
  virtual void add(std::shared_ptr<InterceptedObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<InterceptedObserverValue>& observer) = 0;
  // The request measured last, absent before the first.
  virtual std::optional<URLSessionDataIntercepted> urlSession() const = 0;
};

}  // namespace obx
