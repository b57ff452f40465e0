// NetworkEventBuilder: the "network" record of one finished request, or nothing when the request is
// not to be recorded: no URL or no method, or a request to the SDK's own collection endpoint.
// `host` is the URL's text before its first "?" (scheme, host, port and path), `parameters` the
// text after its last "?", emptied when URL parameters are not captured.
#pragma once

#include <optional>

#include "config/sdk_configuration.h"
#include "network/url_session_data_intercepted.h"
#include "store/events/payloads.h"

namespace obx {

class NetworkEventBuilder {
 public:
  // `now` is when the request is recorded: its duration runs from the value's date to it.
  static std::optional<Network> build(const URLSessionDataIntercepted& value, const Common& common, platform::Date now);
  // The request goes to the collection endpoint the SDK itself talks to.
  static bool isOwnTraffic(const std::string& host, const Common& common);
};

}  // namespace obx
