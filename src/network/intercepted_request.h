// InterceptedRequest: what an interceptor takes of a request when its task is made: the URL, the
// method and the size of the body sent. And the size of what a finished task received, told from
// the first argument of its completion handler.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/net/url.h"
#include "platform/net/url_request.h"

namespace obx {

struct InterceptedRequest {
  std::optional<platform::URL> url;
  std::optional<std::string> method;
  std::optional<std::int64_t> bytesSent;

  // The request's URL and method; the size of its body, absent without one.
  static InterceptedRequest of(const platform::URLRequest& request);
  // A bare URL is fetched with "GET" and sends nothing.
  static InterceptedRequest get(const platform::URL& url);
};

// The size of a data task's body; absent without one.
std::optional<std::int64_t> receivedBytes(const std::optional<platform::Data>& data);
// The size of a download's file at `location`; absent without a location or when the file's
// attributes can't be read.
std::optional<std::int64_t> receivedBytes(const std::optional<std::string>& location);

}  // namespace obx
