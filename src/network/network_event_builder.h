// NetworkEventBuilder: the "network" record of one finished request, or nothing when the request is
// not to be recorded: no URL or no method, or a request to the SDK's own collection endpoint.
// `host` is the URL's text before its first "?" (scheme, host, port and path), `parameters` the
// text after its last "?", emptied when URL parameters are not captured. Credentials written in the
// URL ("user:password@") never reach the record, and the fragment goes with the parameters.
#pragma once

#include <optional>
#include <string>

#include "config/sdk_configuration.h"
#include "network/url_session_data_intercepted.h"
#include "platform/net/url.h"
#include "store/events/payloads.h"

namespace obx {

class NetworkEventBuilder {
 public:
  // `now` is when the request is recorded: its duration runs from the value's date to it.
  static std::optional<Network> build(const URLSessionDataIntercepted& value, const Common& common, platform::Date now);
  // The request goes to the collection endpoint the SDK itself talks to: the same scheme, host and
  // port, and a path within the endpoint's own.
  static bool isOwnTraffic(const platform::URL& url, const Common& common);
};

}  // namespace obx
