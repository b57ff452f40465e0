// UploadDecoder: opens one screen upload as the SDK sends it. The query names the property, the
// screen and the cleaned session and lead IDs; the body is a ZIP of `<id>_zip/raw/data` (the JSON
// body) and `<id>_zip/raw/<index>` (one image each), every file enciphered with the session's key.
// The account is not in the request, so the decoder tries each account it serves and, for a
// cleaned session ID of 34 characters, the raw form with the UUID dashes put back; the key that
// deciphers "data" into a JSON array is the one. The body must then be an array of events of the
// known types, each decoding as its typed record, in offset order.
//
// Stateless after construction and safe to call from several threads at once.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/events/event.h"
#include "store/events/json_coding.h"

namespace obx::collector {

// The query of "/asset/?type=zip&wid=..&sk=..&sid=..&lid=..&passed=..&asset=..[&dnt=..][&jspsf=..]".
struct UploadQuery {
  std::string property;   // wid
  std::string cScreenID;  // sk
  std::string sessionID;  // sid, cleaned by the SDK
  std::string leadID;     // lid, cleaned by the SDK
  std::int64_t passed = 0;
  std::string asset;      // "<id>.zip"
  std::optional<std::int64_t> dnt;
  std::optional<bool> jspsf;

  // The query read from its parameters, or nothing with `error` telling which one is missing or
  // malformed. IDs that could not name a folder (empty, "..", a "/") are refused here.
  static std::optional<UploadQuery> fromParameters(const std::multimap<std::string, std::string>& parameters,
                                                   std::string* error);
  // `asset` without its ".zip".
  std::string assetID() const;
};

struct DecodedUpload {
  std::string account;       // the account whose key deciphered the body
  std::string rawSessionID;  // the session ID the key was derived from
  Json body;                 // the JSON array as it was sent
  std::vector<AnyEvent> events;
  std::map<std::int64_t, std::string> images;  // index -> plain image bytes
  // Anomalies that don't make the upload unusable (an image the body names but the archive lacks).
  std::vector<std::string> warnings;
};

class UploadDecoder {
 public:
  // Bounds on what one upload may unpack to, checked against the archive's declared sizes before
  // anything is allocated: the SDK's screens hold a body and at most a few thousand JPEGs.
  static constexpr std::uint64_t kMaxEntrySize = 64ull << 20;
  static constexpr std::uint64_t kMaxUnpackedSize = 256ull << 20;
  static constexpr std::uint64_t kMaxEntries = 10000;

  // Why an upload was refused: it is malformed (the client sent something wrong and sending it again
  // won't help), or it is well formed but no key of the accounts served deciphers it (most likely the
  // collector runs with the wrong --account, and the client should keep the screen).
  enum class Failure { malformed, undecipherable };

  explicit UploadDecoder(std::vector<std::string> accounts);

  // The deciphered and validated upload, or nothing with `error` saying why it was refused and
  // `failure`, when given, of which kind.
  std::optional<DecodedUpload> decode(const UploadQuery& query, std::string_view body, std::string* error,
                                      Failure* failure = nullptr) const;

  // The raw session IDs a cleaned one may come from: itself, and for 34 characters the
  // 8-4-4-4-(12+2) dashed form.
  static std::vector<std::string> rawSessionIDCandidates(const std::string& cleanedSessionID);

  // The key and IV texts of a session, derived as `Security` derives them but without its
  // process-wide table: that table is keyed by session ID alone, so a trial with a wrong account
  // would be remembered and, in a process that also runs the SDK, poison the SDK's own key.
  static std::pair<std::string, std::string> uploadKey(const std::string& sessionID, const std::string& leadID,
                                                       const std::string& property, const std::string& account);

  // Checks a deciphered body: a JSON array of event objects of known types, each decoding as its
  // typed record, offsets never decreasing. Fills `events` on success.
  static std::optional<Json> validateBody(std::string_view plain, std::vector<AnyEvent>& events,
                                          std::string* error);
  // The same for a body already parsed.
  static std::optional<Json> validateBody(Json body, std::vector<AnyEvent>& events, std::string* error);

 private:
  std::vector<std::string> accounts_;
};

}  // namespace obx::collector
