#include "platform/net/url.h"

#include <curl/curl.h>

#include <memory>

namespace obx::platform {
namespace {

struct UrlHandleDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using UrlHandle = std::unique_ptr<CURLU, UrlHandleDeleter>;

std::optional<std::string> part(CURLU* handle, CURLUPart which) {
  char* value = nullptr;
  if (curl_url_get(handle, which, &value, 0) != CURLUE_OK || value == nullptr) return std::nullopt;
  std::string result(value);
  curl_free(value);
  return result;
}

}  // namespace

std::optional<URL> URL::fromString(const std::string& text) {
  if (text.empty()) return std::nullopt;
  UrlHandle handle(curl_url());
  if (!handle) return std::nullopt;
  // No default scheme: "example.com/x" is not an absolute URL; text with spaces is refused.
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return std::nullopt;
  }
  URL url;
  auto full = part(handle.get(), CURLUPART_URL);
  auto scheme = part(handle.get(), CURLUPART_SCHEME);
  if (!full || !scheme) return std::nullopt;
  url.absoluteString_ = *full;
  url.scheme_ = *scheme;
  url.host_ = part(handle.get(), CURLUPART_HOST).value_or("");
  if (auto port = part(handle.get(), CURLUPART_PORT)) url.port_ = std::stoi(*port);
  url.path_ = part(handle.get(), CURLUPART_PATH).value_or("/");
  url.query_ = part(handle.get(), CURLUPART_QUERY);
  if (url.scheme_ != "file" && url.host_.empty()) return std::nullopt;
  return url;
}

URL URL::fileURL(const std::string& path) {
  URL url;
  url.scheme_ = "file";
  url.path_ = path;
  url.absoluteString_ = "file://" + path;
  return url;
}

}  // namespace obx::platform
