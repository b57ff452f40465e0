// URLSessionDataIntercepted: one finished request of the application as an interceptor saw it, before
// the network core decides whether and how to record it. A value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/dispatch/clock.h"
#include "platform/net/http_headers.h"
#include "platform/net/url.h"
#include "platform/net/url_error.h"

namespace obx {

struct URLSessionDataIntercepted {
  std::optional<platform::URL> url;
  std::optional<std::string> method;
  // The HTTP status; absent when no HTTP response came.
  std::optional<std::int64_t> code;
  // When the task was made: the start of the measured time.
  platform::Date date = 0;
  // Response headers, carried and not recorded.
  std::optional<platform::HTTPHeaders> headers;
  std::optional<std::int64_t> bytesSent;
  std::optional<std::int64_t> bytesReceived;
  std::optional<platform::URLError> error;
};

}  // namespace obx
