#include "network/network_event_builder.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace obx {
namespace {

// The pieces of `text` between the "?", empty pieces left out.
std::vector<std::string> queryPieces(const std::string& text) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('?', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

// Text without the "user:password@" of its authority.
std::string withoutCredentials(const std::string& text) {
  const std::size_t scheme = text.find("://");
  if (scheme == std::string::npos) return text;
  const std::size_t authority = scheme + 3;
  const std::size_t authorityEnd = std::min(text.find_first_of("/?#", authority), text.size());
  const std::size_t at = text.rfind('@', authorityEnd == 0 ? 0 : authorityEnd - 1);
  if (at == std::string::npos || at < authority) return text;
  return text.substr(0, authority) + text.substr(at + 1);
}

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

int effectivePort(const platform::URL& url) {
  if (url.port()) return *url.port();
  const std::string scheme = lowercase(url.scheme());
  if (scheme == "https") return 443;
  if (scheme == "http") return 80;
  return -1;
}

// `path` is `base` or lies below it, segment by segment: "/obx" holds "/obx/asset" but not "/obx2".
bool pathWithin(const std::string& path, std::string base) {
  while (!base.empty() && base.back() == '/') base.pop_back();
  if (base.empty()) return true;
  return path.compare(0, base.size(), base) == 0 && (path.size() == base.size() || path[base.size()] == '/');
}

}  // namespace

bool NetworkEventBuilder::isOwnTraffic(const platform::URL& url, const Common& common) {
  const std::string text = common.endpoint.collectionHost();
  // An endpoint without a base URL has no traffic to tell apart.
  if (text.empty()) return false;
  const std::optional<platform::URL> base = platform::URL::fromString(text);
  if (!base) return false;
  return lowercase(url.scheme()) == lowercase(base->scheme()) && lowercase(url.host()) == lowercase(base->host()) &&
         effectivePort(url) == effectivePort(*base) && pathWithin(url.path(), base->path());
}

std::optional<Network> NetworkEventBuilder::build(const URLSessionDataIntercepted& value, const Common& common,
                                                  platform::Date now) {
  if (!value.url) return std::nullopt;
  std::string text = withoutCredentials(value.url->absoluteString());
  // The fragment follows the parameters, also when the URL has no query.
  std::string fragment;
  if (const std::size_t hash = text.find('#'); hash != std::string::npos) {
    fragment = text.substr(hash);
    text.erase(hash);
  }
  const std::vector<std::string> pieces = queryPieces(text);
  if (pieces.empty()) return std::nullopt;
  const std::string& host = pieces.front();
  // With several "?", the pieces between the first and the last are not recorded.
  const std::string parameters = (pieces.size() >= 2 ? pieces.back() : std::string()) + fragment;
  if (!value.method) return std::nullopt;
  if (isOwnTraffic(*value.url, common)) return std::nullopt;

  Network network;
  network.host = host;
  network.parameters = common.captureURLParameters ? parameters : std::string();
  network.method = *value.method;
  network.code = value.code.value_or(0);
  network.dateRequest = static_cast<std::int64_t>(value.date);
  network.duration = static_cast<std::int64_t>((now - value.date) * 1000.0);
  network.bytesSent = value.bytesSent.value_or(0);
  network.bytesReceived = value.bytesReceived.value_or(0);
  network.error = value.error ? value.error->localizedDescription() : std::string();
  network.isPrivate = false;
  return network;
}

}  // namespace obx
