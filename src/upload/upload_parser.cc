#include "upload/upload_parser.h"

#include <cmath>

#include "base/logger.h"
#include "platform/files/file_manager.h"
#include "platform/files/sandbox.h"
#include "platform/net/url.h"
#include "store/events/event.h"
#include "store/files/security.h"
#include "upload/upload_body.h"
#include "upload/upload_zip.h"

namespace obx {
namespace {

// The blocks of a screen, each parsed once: the session, the batch, the sampling and the body are
// all read from these documents. A block that is not JSON has no document.
std::vector<std::optional<Json>> parseBlocks(const std::vector<std::string>& blocks) {
  std::vector<std::optional<Json>> documents;
  documents.reserve(blocks.size());
  for (const auto& block : blocks) {
    try {
      documents.emplace_back(parseJSON(block));
    } catch (const DecodingError&) {
      documents.emplace_back();
    }
  }
  return documents;
}

// The first document, in order, that decodes as Event<T>; documents of other kinds are passed over.
// `requiredKey` is a key that T's payload can't decode without: a document whose "d" lacks it is
// passed over without the cost of a failed decoding.
template <typename T>
std::optional<Event<T>> firstEvent(const std::vector<std::optional<Json>>& documents, const char* requiredKey) {
  for (const auto& document : documents) {
    if (!document || !document->is_object()) continue;
    auto data = document->find("d");
    if (data == document->end() || !data->is_object() || !data->contains(requiredKey)) continue;
    try {
      return document->get<Event<T>>();
    } catch (const DecodingError&) {
    } catch (const nlohmann::json::exception&) {
    }
  }
  return std::nullopt;
}

std::vector<AnyEvent> decodeEvents(const std::vector<std::optional<Json>>& documents) {
  std::vector<AnyEvent> events;
  events.reserve(documents.size());
  for (const auto& document : documents) {
    if (!document) continue;
    if (auto event = decodeParsedEvent(*document)) events.push_back(std::move(*event));
  }
  return events;
}

// The identifier as the server takes it: the text before the first "|", without "+" and "-".
std::string cleanIdentifier(const std::string& raw) {
  std::string cleaned = raw.substr(0, raw.find('|'));
  std::erase_if(cleaned, [](char c) { return c == '+' || c == '-'; });
  return cleaned;
}

// The name of a session's debug folder: its first non-empty "|"-part cleaned, or "nil".
std::string debugSessionName(const std::string& raw) {
  std::size_t start = 0;
  while (start < raw.size()) {
    std::size_t end = raw.find('|', start);
    if (end == std::string::npos) end = raw.size();
    if (end > start) return cleanIdentifier(raw.substr(start, end - start));
    start = end + 1;
  }
  return "nil";
}

bool representable(double seconds) {
  return std::isfinite(seconds) && std::trunc(seconds) >= -9223372036854775808.0 &&
         std::trunc(seconds) < 9223372036854775808.0;
}

struct ScreenIdentity {
  Session rawSession;
  std::string sessionID;
  std::string leadID;
  std::string cScreenID;
  std::int64_t startTime = 0;
};

// Steps that identify the screen: its session, cleaned IDs and its first batch. Logs each failure.
std::optional<ScreenIdentity> identify(const ScreenToSend& screen, const std::vector<std::optional<Json>>& documents) {
  auto fail = [&]() -> std::optional<ScreenIdentity> {
    Logger::log("Error parser, screenID: " + screen.id, LogLevel::qa);
    return std::nullopt;
  };

  auto sessionEvent = firstEvent<Session>(documents, "sessionID");
  if (!sessionEvent) {
    Logger::log("Error parsing session is nil", LogLevel::qa);
    return fail();
  }

  const Session* session = &sessionEvent->data;
  ScreenIdentity identity;
  identity.rawSession = *session;
  if (session->leadID.empty()) {
    Logger::log("Fail to parse lead ID", LogLevel::qa);
    return fail();
  }
  identity.leadID = cleanIdentifier(session->leadID);
  if (session->sessionID.empty()) {
    Logger::log("Fail to parse session ID", LogLevel::qa);
    return fail();
  }
  identity.sessionID = cleanIdentifier(session->sessionID);

  auto batch = firstEvent<Batch>(documents, "cScreenID");
  if (!batch) {
    Logger::log("Fail to parse Batch event", LogLevel::qa);
    return fail();
  }
  if (!representable(batch->data.startTime)) {
    Logger::log("Error parsing Batch event startTime " + std::to_string(batch->data.startTime) +
                    " is not a whole number of seconds in range",
                LogLevel::qa);
    return fail();
  }
  identity.cScreenID = batch->data.cScreenID;
  identity.startTime = static_cast<std::int64_t>(batch->data.startTime);
  return identity;
}

UploadBodySettings bodySettings(const Common& common) {
  return UploadBodySettings{common.videoQualityType, common.captureURLParameters};
}

}  // namespace

UploadParser::UploadParser(std::shared_ptr<UploaderConfiguration> configuration, std::filesystem::path root,
                           std::shared_ptr<platform::Scheduler> scheduler)
    : configuration_(std::move(configuration)),
      root_(std::move(root)),
      debugQueue_(platform::DispatchQueue::makeSerial(std::move(scheduler), kDebugQueueLabel)) {}

std::optional<UploadScreen> UploadParser::parse(const ScreenToSend& screen, bool* retryLater) const {
  if (retryLater) *retryLater = false;
  if (screen.events.empty()) {
    Logger::log("Empty events in screen to send, screenID: " + screen.id, LogLevel::qa);
    return std::nullopt;
  }
  const auto documents = parseBlocks(screen.events);
  auto identity = identify(screen, documents);
  if (!identity) return std::nullopt;

  const Common common = configuration_ ? configuration_->common() : Common{};
  const bool keepVideoData = common.keepVideoData.value_or(false);
  const auto zipDirectory = root_ / screen.id / "zip";
  const auto archive = zipDirectory / (screen.id + ".zip");

  UploadScreen result;
  if (auto previous = platform::contentsAtPath(archive)) {
    // A screen whose send failed before goes out again with the very same bytes.
    result.zip.assign(previous->begin(), previous->end());
  } else {
    // Building the body has no side effect: one that failed fails again, so there is nothing to
    // retry for a debug copy.
    auto body = buildUploadBody(decodeEvents(documents), screen.events, bodySettings(common));
    if (!body) {
      Logger::log("Error parser, ID: " + screen.id, LogLevel::qa);
      return std::nullopt;
    }
    const std::vector<Image> noImages;
    const auto& images = screen.images ? *screen.images : noImages;
    const Security security(identity->rawSession.sessionID, identity->rawSession.leadID, common.property,
                            common.account);
    bool diskFailure = false;
    auto zip = buildUploadZip(zipDirectory, screen.id, *body, images, security, &diskFailure, diskFailures_.get());
    if (!zip && diskFailure) {
      // Nothing is wrong with the screen: it goes out once the disk takes its ZIP.
      if (retryLater) *retryLater = true;
      return std::nullopt;
    }
    if (!zip) {
      Logger::log("Error parser, ID: " + screen.id, LogLevel::qa);
      if (keepVideoData) writeDebugCopy(screen.id, identity->rawSession, *body, images, security);
      return std::nullopt;
    }
    result.zip = std::move(*zip);
    if (keepVideoData) writeDebugCopy(screen.id, identity->rawSession, *body, images, security);
  }

  if (auto sampling = firstEvent<WeightedSampling>(documents, "sampling")) result.isInSampling = std::move(sampling->data);
  result.cScreenID = identity->cScreenID;
  result.id = screen.id;
  result.sessionID = identity->sessionID;
  result.leadID = identity->leadID;
  result.startTime = identity->startTime;
  return result;
}

void UploadParser::writeDebugCopy(const std::string& id, const Session& rawSession, const std::string& body,
                                  const std::vector<Image>& images, const Security& security) const {
  const auto folder = platform::cachesDirectory() / "obx.ombrix.zips" /
                      (debugSessionName(rawSession.sessionID) + "_" + rawSession.leadID) / (id + "_zip") / "raw";
  debugQueue_->async([folder, id, body, images, security] {
    if (auto error = writeEncipheredFiles(folder, body, images, security)) {
      Logger::log("Error when create subdirectory in /Library/Caches/ " + error->description, LogLevel::developer);
      return;
    }
    Logger::log("ZIP Create to DEBUG " + id + " in " + platform::URL::fileURL(folder.string()).absoluteString(),
                LogLevel::developer);
  });
}

}  // namespace obx
