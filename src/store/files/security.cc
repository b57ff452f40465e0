#include "store/files/security.h"

#include <mutex>
#include <unordered_map>

#include "base/read_write_lock.h"
#include "platform/crypto/crypto.h"

namespace obx {
namespace {

// Lives for the process and only grows, one entry per session.
ReadWriteLock<std::unordered_map<std::string, std::string>>& digestTable() {
  static auto* table = new ReadWriteLock<std::unordered_map<std::string, std::string>>();
  return *table;
}

// Byte offset of the character at `position`, or the text's size when it has fewer characters.
std::size_t byteOffset(std::string_view text, std::size_t position) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
    if (characters == position) return i;
    ++characters;
  }
  return text.size();
}

std::size_t characters(std::string_view text) {
  std::size_t count = 0;
  for (unsigned char byte : text) {
    if ((byte & 0xC0) != 0x80) ++count;
  }
  return count;
}

}  // namespace

Security::Security() : key_(kAtRestKey), ivK_(kAtRestIV) {}

Security::Security(const std::string& sessionID, const std::string& leadID, const std::string& property,
                   const std::string& account)
    : key_(kAtRestKey), ivK_(kAtRestIV) {
  const std::string digest = sessionDigest(sessionID, leadID, property, account);
  if (digest.size() == 32) {
    key_ = digest.substr(0, 16);
    ivK_ = digest.substr(16, 16);
  }
}

std::string Security::keyPiece(std::string_view text, std::size_t lower, std::size_t upper) {
  const std::size_t length = characters(text);
  const std::size_t from = byteOffset(text, std::min(lower, length));
  const std::size_t to = byteOffset(text, std::min(upper, length));
  std::string piece(text.substr(from, to > from ? to - from : 0));
  if (length < upper) piece.append(upper - length, 'x');
  return piece;
}

std::string Security::computeDigest(const std::string& sessionID, const std::string& leadID,
                                    const std::string& property, const std::string& account) {
  const std::string joined =
      keyPiece(sessionID, 0, 8) + keyPiece(leadID, 5, 13) + keyPiece(property, 1, 4) + keyPiece(account, 2, 6);
  return platform::hexString(platform::ccMD5(joined));
}

std::string Security::sessionDigest(const std::string& sessionID, const std::string& leadID,
                                    const std::string& property, const std::string& account) {
  auto& table = digestTable();
  std::string known = table.read([&](const auto& map) {
    auto found = map.find(sessionID);
    return found == map.end() ? std::string() : found->second;
  });
  if (!known.empty()) return known;

  std::string digest = computeDigest(sessionID, leadID, property, account);
  // Another thread may have stored the same session meanwhile; the first entry stays.
  return table.mutate([&](auto& map) { return map.emplace(sessionID, digest).first->second; });
}

}  // namespace obx
