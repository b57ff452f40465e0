// URLSessionConfiguration: the settings a session is made with. A value, copied into the session.
// The session keeps no response cache, so a configuration never needs one switched off.
#pragma once

#include "platform/net/http_headers.h"
#include "platform/net/url_request.h"

namespace obx::platform {

struct URLSessionConfiguration {
  // The process's default: the values below unless a host (or a test, to shorten the timeouts)
  // replaced it with setDefaultSessionConfiguration before its sessions were made. Any thread.
  static URLSessionConfiguration defaultSessionConfiguration();
  static void setDefaultSessionConfiguration(const URLSessionConfiguration& configuration);

  // Given to requests the session builds from a bare URL.
  URLRequestCachePolicy requestCachePolicy = URLRequestCachePolicy::useProtocolCachePolicy;
  // Seconds; the timeout of requests the session builds from a bare URL.
  double timeoutIntervalForRequest = 60.0;
  // Seconds; no transfer of this session runs longer, whatever its request says.
  double timeoutIntervalForResource = 604800.0;
  // Sent with every request unless the request sets the same field.
  HTTPHeaders httpAdditionalHeaders;
  // Redirects are followed up to this many hops; 0 gives the redirect response itself.
  int maximumRedirects = 16;
};

}  // namespace obx::platform
