#include "network/network_event_builder.h"

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

}  // namespace

bool NetworkEventBuilder::isOwnTraffic(const std::string& host, const Common& common) {
  const std::string base = common.endpoint.collectionHost();
  // An endpoint without a base URL has no traffic to tell apart.
  if (base.empty()) return false;
  return host.rfind(base, 0) == 0;
}

std::optional<Network> NetworkEventBuilder::build(const URLSessionDataIntercepted& value, const Common& common,
                                                  platform::Date now) {
  if (!value.url) return std::nullopt;
  const std::vector<std::string> pieces = queryPieces(value.url->absoluteString());
  if (pieces.empty()) return std::nullopt;
  const std::string& host = pieces.front();
  // With several "?", the pieces between the first and the last are not recorded.
  const std::string parameters = pieces.size() >= 2 ? pieces.back() : std::string();
  if (!value.method) return std::nullopt;
  if (isOwnTraffic(host, common)) return std::nullopt;

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
