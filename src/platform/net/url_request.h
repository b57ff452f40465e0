// URLRequest: what a task sends. A value: copy it, edit the copy.
#pragma once

#include <optional>
#include <string>

#include "platform/net/http_headers.h"
#include "platform/net/url.h"

namespace obx::platform {

// Raw values as the platform numbers them.
enum class URLRequestCachePolicy : int {
  useProtocolCachePolicy = 0,
  reloadIgnoringLocalCacheData = 1,
  returnCacheDataElseLoad = 2,
  returnCacheDataDontLoad = 3,
  reloadIgnoringLocalAndRemoteCacheData = 4,
  reloadRevalidatingCacheData = 5,
};

struct URLRequest {
  static constexpr double kDefaultTimeoutInterval = 60.0;

  explicit URLRequest(URL url) : url(std::move(url)) {}

  URL url;
  std::string httpMethod = "GET";
  HTTPHeaders allHTTPHeaderFields;
  std::optional<Data> httpBody;
  // Seconds the whole transfer may take before it fails with the timed-out error.
  double timeoutInterval = kDefaultTimeoutInterval;
  URLRequestCachePolicy cachePolicy = URLRequestCachePolicy::useProtocolCachePolicy;

  void setValue(const std::string& value, const std::string& field) { allHTTPHeaderFields[field] = value; }
  std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const {
    auto it = allHTTPHeaderFields.find(field);
    if (it == allHTTPHeaderFields.end()) return std::nullopt;
    return it->second;
  }
};

}  // namespace obx::platform
