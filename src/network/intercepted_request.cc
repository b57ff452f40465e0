#include "network/intercepted_request.h"

#include "platform/files/file_manager.h"

namespace obx {

InterceptedRequest InterceptedRequest::of(const platform::URLRequest& request) {
  InterceptedRequest facts{request.url, request.httpMethod, std::nullopt};
  if (request.httpBody) facts.bytesSent = static_cast<std::int64_t>(request.httpBody->size());
  return facts;
}

InterceptedRequest InterceptedRequest::get(const platform::URL& url) { return InterceptedRequest{url, "GET", 0}; }

std::optional<std::int64_t> receivedBytes(const std::optional<platform::Data>& data) {
  if (!data) return std::nullopt;
  return static_cast<std::int64_t>(data->size());
}

std::optional<std::int64_t> receivedBytes(const std::optional<std::string>& location) {
  if (!location) return std::nullopt;
  const platform::FileAttributes attributes = platform::attributesOfItemAtPath(*location);
  if (!attributes.fileSize) return std::nullopt;
  return static_cast<std::int64_t>(*attributes.fileSize);
}

}  // namespace obx
