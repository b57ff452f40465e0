#include "collector/upload_decoder.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "base/json_nesting.h"
#include "platform/crypto/crypto.h"
#include "platform/zip/zip_archive.h"
#include "store/events/event_type.h"
#include "store/files/aes.h"
#include "store/files/security.h"

namespace obx::collector {
namespace {

bool isDecimal(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
  std::int64_t value = 0;
  const char* begin = text.data();
  const char* end = text.data() + text.size();
  if (!text.empty() && *begin == '+') ++begin;
  auto [stop, error] = std::from_chars(begin, end, value);
  if (error != std::errc() || stop != end || begin == end) return std::nullopt;
  return value;
}

// A value that is used as a folder or file name on the collector's disk.
bool isSafeName(std::string_view name) {
  if (name.empty() || name.size() > 200 || name == "." || name == "..") return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_' ||
           c == '.';
  });
}

const std::string* parameter(const std::multimap<std::string, std::string>& parameters, const std::string& name) {
  auto found = parameters.find(name);
  return found == parameters.end() ? nullptr : &found->second;
}

std::string asString(const platform::Data& bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace

std::optional<UploadQuery> UploadQuery::fromParameters(const std::multimap<std::string, std::string>& parameters,
                                                       std::string* error) {
  auto fail = [&](std::string why) -> std::optional<UploadQuery> {
    if (error) *error = std::move(why);
    return std::nullopt;
  };
  const std::string* type = parameter(parameters, "type");
  if (!type || *type != "zip") return fail("query parameter \"type\" must be \"zip\"");

  UploadQuery query;
  struct Field {
    const char* name;
    std::string* target;
  };
  for (const Field& field : {Field{"wid", &query.property}, Field{"sk", &query.cScreenID},
                             Field{"sid", &query.sessionID}, Field{"lid", &query.leadID},
                             Field{"asset", &query.asset}}) {
    const std::string* value = parameter(parameters, field.name);
    if (!value || value->empty()) return fail(std::string("query parameter \"") + field.name + "\" is missing");
    *field.target = *value;
  }
  for (const std::string* name : {&query.cScreenID, &query.sessionID}) {
    if (!isSafeName(*name)) return fail("identifier \"" + *name + "\" has characters a folder name can't have");
  }
  if (query.asset.size() <= 4 || !query.asset.ends_with(".zip") || !isSafeName(query.asset)) {
    return fail("asset \"" + query.asset + "\" is not \"<id>.zip\"");
  }

  const std::string* passed = parameter(parameters, "passed");
  auto passedValue = passed ? parseInteger(*passed) : std::nullopt;
  if (!passedValue) return fail("query parameter \"passed\" is missing or not an integer");
  query.passed = *passedValue;

  if (const std::string* dnt = parameter(parameters, "dnt")) {
    query.dnt = parseInteger(*dnt);
    if (!query.dnt) return fail("query parameter \"dnt\" is not an integer");
  }
  if (const std::string* jspsf = parameter(parameters, "jspsf")) {
    if (*jspsf != "0" && *jspsf != "1") return fail("query parameter \"jspsf\" is not 0 or 1");
    query.jspsf = *jspsf == "1";
  }
  return query;
}

std::string UploadQuery::assetID() const { return asset.substr(0, asset.size() - 4); }

UploadDecoder::UploadDecoder(std::vector<std::string> accounts) : accounts_(std::move(accounts)) {}

std::vector<std::string> UploadDecoder::rawSessionIDCandidates(const std::string& cleaned) {
  std::vector<std::string> candidates{cleaned};
  if (cleaned.size() == 34) {
    candidates.push_back(cleaned.substr(0, 8) + "-" + cleaned.substr(8, 4) + "-" + cleaned.substr(12, 4) + "-" +
                         cleaned.substr(16, 4) + "-" + cleaned.substr(20));
  }
  return candidates;
}

std::pair<std::string, std::string> UploadDecoder::uploadKey(const std::string& sessionID, const std::string& leadID,
                                                             const std::string& property,
                                                             const std::string& account) {
  const std::string digest = Security::computeDigest(sessionID, leadID, property, account);
  return {digest.substr(0, 16), digest.substr(16, 16)};
}

std::optional<Json> UploadDecoder::validateBody(std::string_view plain, std::vector<AnyEvent>& events,
                                                std::string* error) {
  Json body;
  try {
    body = parseJSON(plain);
  } catch (const DecodingError& decoding) {
    if (error) *error = "body is not JSON: " + decoding.description;
    return std::nullopt;
  }
  return validateBody(std::move(body), events, error);
}

std::optional<Json> UploadDecoder::validateBody(Json body, std::vector<AnyEvent>& events, std::string* error) {
  auto fail = [&](std::string why) -> std::optional<Json> {
    if (error) *error = std::move(why);
    return std::nullopt;
  };
  if (!body.is_array()) return fail(std::string("body is a JSON ") + body.type_name() + ", not an array of events");

  std::vector<AnyEvent> decoded;
  decoded.reserve(body.size());
  for (std::size_t i = 0; i < body.size(); ++i) {
    const Json& item = body[i];
    const std::string where = "event " + std::to_string(i);
    if (!item.is_object()) return fail(where + " is a JSON " + item.type_name() + ", not an object");
    auto type = item.find("t");
    if (type == item.end() || !type->is_string()) return fail(where + " has no \"t\" string");
    if (!eventTypeFromRawValue(type->get<std::string>())) {
      return fail(where + " has the unknown type \"" + type->get<std::string>() + "\"");
    }
    try {
      decoded.push_back(item.get<AnyEvent>());
    } catch (const DecodingError& decoding) {
      return fail(where + " (\"" + type->get<std::string>() + "\") does not decode: " + decoding.description);
    } catch (const nlohmann::json::exception& decoding) {
      return fail(where + " (\"" + type->get<std::string>() + "\") does not decode: " + decoding.what());
    }
    if (i > 0 && decoded[i].offset < decoded[i - 1].offset) {
      return fail(where + " has offset " + std::to_string(decoded[i].offset) + ", before the " +
                  std::to_string(decoded[i - 1].offset) + " of the event ahead of it");
    }
  }
  events = std::move(decoded);
  return body;
}

std::optional<DecodedUpload> UploadDecoder::decode(const UploadQuery& query, std::string_view body,
                                                   std::string* error, Failure* failure) const {
  if (failure) *failure = Failure::malformed;
  auto fail = [&](std::string why) -> std::optional<DecodedUpload> {
    if (error) *error = std::move(why);
    return std::nullopt;
  };
  if (accounts_.empty()) {
    if (failure) *failure = Failure::undecipherable;
    return fail("the collector serves no account, so no key can be derived");
  }

  std::string zipError;
  const platform::ZipLimits limits{kMaxEntrySize, kMaxUnpackedSize, kMaxEntries};
  auto entries = platform::readZip(platform::Data(body.begin(), body.end()), &zipError, limits);
  if (!entries) return fail("body is not a ZIP archive: " + zipError);

  const std::string root = query.assetID() + "_zip/";
  const std::string raw = root + "raw/";
  const platform::ZipEntry* dataEntry = nullptr;
  std::vector<const platform::ZipEntry*> imageEntries;
  std::vector<std::string> warnings;
  for (const auto& entry : *entries) {
    if (!entry.name.starts_with(root)) {
      return fail("archive entry \"" + entry.name + "\" lies outside \"" + root + "\"");
    }
    if (entry.isDirectory()) continue;
    if (!entry.name.starts_with(raw)) {
      warnings.push_back("archive entry \"" + entry.name + "\" is not under \"raw/\" and was ignored");
      continue;
    }
    const std::string name = entry.name.substr(raw.size());
    if (name == "data") {
      dataEntry = &entry;
    } else if (isDecimal(name) && parseInteger(name)) {
      imageEntries.push_back(&entry);
    } else {
      warnings.push_back("archive entry \"" + entry.name + "\" is neither \"data\" nor an image index and was ignored");
    }
  }
  if (!dataEntry) return fail("archive has no \"" + raw + "data\"");

  // Find the key: the first candidate whose "data" deciphers into a JSON array.
  const std::string cipherBody = asString(dataEntry->bytes);
  std::set<std::pair<std::string, std::string>> tried;
  std::optional<DecodedUpload> result;
  std::optional<AES> cipher;
  Json plainBody;
  bool decipheredToJSON = false;
  bool tooDeep = false;
  for (const std::string& account : accounts_) {
    for (const std::string& sessionID : rawSessionIDCandidates(query.sessionID)) {
      auto keys = uploadKey(sessionID, query.leadID, query.property, account);
      if (!tried.insert(keys).second) continue;
      auto aes = AES::make(keys.first, keys.second);
      if (!aes) continue;
      auto plain = aes->decrypt(cipherBody);
      if (!plain) continue;
      if (!jsonNestingWithin(*plain)) {
        // Text that opens as the body does but nests past the bound: the key is right and the body
        // hostile. (Garbage from a wrong key starts with "[" once in 256 keys.)
        if (plain->starts_with('[')) tooDeep = true;
        continue;
      }
      try {
        plainBody = parseJSON(*plain);
      } catch (const DecodingError&) {
        continue;
      }
      // JSON under this key, but no array: the key is right and the body is wrong.
      decipheredToJSON = true;
      if (!plainBody.is_array()) continue;
      result = DecodedUpload{};
      result->account = account;
      result->rawSessionID = sessionID;
      cipher = std::move(aes);
      break;
    }
    if (result) break;
  }
  if (!result && tooDeep) {
    return fail("\"data\" deciphers into JSON nested deeper than " + std::to_string(kMaxJSONNesting) + " levels");
  }
  if (!result) {
    if (failure && !decipheredToJSON) *failure = Failure::undecipherable;
    return fail("\"data\" deciphers into no JSON array with any key of session \"" + query.sessionID + "\", lead \"" +
                query.leadID + "\", property \"" + query.property + "\" and the accounts served");
  }

  std::string bodyError;
  auto json = validateBody(std::move(plainBody), result->events, &bodyError);
  if (!json) return fail(bodyError);
  result->body = std::move(*json);

  for (const platform::ZipEntry* entry : imageEntries) {
    const std::string name = entry->name.substr(raw.size());
    auto plain = cipher->decrypt(asString(entry->bytes));
    if (!plain) return fail("image \"" + name + "\" does not decipher with the body's key");
    result->images[*parseInteger(name)] = std::move(*plain);
  }

  // The "images" events name the frames; each should have its file, and each file should be a JPEG.
  for (const AnyEvent& event : result->events) {
    if (event.type != EventType::images) continue;
    for (const ImageData& image : std::get<std::vector<ImageData>>(event.data)) {
      if (!result->images.contains(image.screenshotIndex)) {
        warnings.push_back("frame " + std::to_string(image.screenshotIndex) + " (" + image.screenshotName +
                           ") has no image in the archive");
      }
    }
  }
  for (const auto& [index, bytes] : result->images) {
    if (bytes.size() < 3 || static_cast<unsigned char>(bytes[0]) != 0xFF ||
        static_cast<unsigned char>(bytes[1]) != 0xD8) {
      warnings.push_back("image " + std::to_string(index) + " is not a JPEG");
    }
  }
  result->warnings = std::move(warnings);
  return result;
}

}  // namespace obx::collector
