#include "svr/recording/node.h"

#include <cstdio>

#include "platform/crypto/crypto.h"

namespace obx {

std::string Node::allDescription() const {
  std::string text;
  append(text);
  return text;
}

void Node::append(std::string& text) const {
  text += description_;
  for (const auto& node : subNodes_) node.append(text);
}

std::string Node::hash() const {
  auto digest = platform::ccSHA256(allDescription());
  std::string hex;
  hex.reserve(digest.size() * 2);
  for (auto byte : digest) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    hex += pair;
  }
  return hex;
}

}  // namespace obx
