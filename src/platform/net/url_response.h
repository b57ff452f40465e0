// URLResponse and HTTPURLResponse: what a task received before its body. A task over HTTP gives an
// HTTPURLResponse; other schemes (file) give a plain URLResponse. Immutable once made.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/net/http_headers.h"
#include "platform/net/url.h"

namespace obx::platform {

class URLResponse {
 public:
  URLResponse(URL url, std::optional<std::int64_t> expectedContentLength)
      : url_(std::move(url)), expectedContentLength_(expectedContentLength) {}
  virtual ~URLResponse() = default;

  // The URL of the response, after redirects.
  const URL& url() const { return url_; }
  // From Content-Length, or absent when the server did not say.
  std::optional<std::int64_t> expectedContentLength() const { return expectedContentLength_; }

 private:
  URL url_;
  std::optional<std::int64_t> expectedContentLength_;
};

class HTTPURLResponse final : public URLResponse {
 public:
  HTTPURLResponse(URL url, int statusCode, HTTPHeaders headers, std::optional<std::int64_t> expectedContentLength)
      : URLResponse(std::move(url), expectedContentLength), statusCode_(statusCode), headers_(std::move(headers)) {}

  int statusCode() const { return statusCode_; }
  // Field names compare without case; repeated fields are joined with ", ".
  const HTTPHeaders& allHeaderFields() const { return headers_; }
  std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const {
    auto it = headers_.find(field);
    if (it == headers_.end()) return std::nullopt;
    return it->second;
  }

 private:
  int statusCode_;
  HTTPHeaders headers_;
};

// The HTTP response behind `response`, or null when it is none or not HTTP.
inline const HTTPURLResponse* asHTTPURLResponse(const std::shared_ptr<const URLResponse>& response) {
  return dynamic_cast<const HTTPURLResponse*>(response.get());
}

}  // namespace obx::platform
