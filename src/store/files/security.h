// Security: the two texts (`key`, `ivK`) that build the AES of a block. Built without arguments it
// holds the fixed at-rest texts of every stored file. Built from a session ID, a lead ID, a
// property and an account it holds the per-session upload key: the MD5 of four pieces of those
// strings, as lower-case hex, split in two halves. The digest of a session is kept in a
// process-wide table (thread-safe) and reused on the next construction for that session.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace obx {

class SecurityManager {
 public:
  virtual ~SecurityManager() = default;
  virtual const std::string& key() const = 0;
  virtual const std::string& ivK() const = 0;
};

class Security final : public SecurityManager {
 public:
  static constexpr std::string_view kAtRestKey = "Tessera#LOCK##71";
  static constexpr std::string_view kAtRestIV = "ivTessera#LCK#71";

  Security();
  Security(const std::string& sessionID, const std::string& leadID, const std::string& property,
           const std::string& account);

  const std::string& key() const override { return key_; }
  const std::string& ivK() const override { return ivK_; }

  // Characters `lower` up to `upper` of `text`, positions clamped to its length, followed by one
  // "x" for each position that the text falls short of `upper`.
  static std::string keyPiece(std::string_view text, std::size_t lower, std::size_t upper);
  // The 32 hex characters of the session's key, computed afresh; the table is neither read nor
  // written (a server trying keys must not replace the one a session uses).
  static std::string computeDigest(const std::string& sessionID, const std::string& leadID,
                                   const std::string& property, const std::string& account);
  // The 32 hex characters of the session's key, computed or taken from the table.
  static std::string sessionDigest(const std::string& sessionID, const std::string& leadID,
                                   const std::string& property, const std::string& account);

 private:
  std::string key_;
  std::string ivK_;
};

}  // namespace obx
