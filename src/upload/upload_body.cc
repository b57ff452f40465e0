#include "upload/upload_body.h"

#include <algorithm>
#include <map>

#include "base/logger.h"
#include "config/quality_rates.h"
#include "upload/verbose_logging.h"

namespace obx {
namespace {

bool isValidUTF8(const std::string& text) {
  try {
    (void)Json(text).dump(-1, ' ', false, Json::error_handler_t::strict);
    return true;
  } catch (const nlohmann::json::exception&) {
    return false;
  }
}

// The stored blocks as text, for a failure that needs to be read against what was stored.
void logStoredBlocks(const std::vector<std::string>& blocks) {
  if (!verboseLogging()) return;
  for (const auto& block : blocks) Logger::log(isValidUTF8(block) ? block : "Error events", LogLevel::qa);
}

bool removedFromUpload(EventType type) {
  return type == EventType::batch || type == EventType::batchEnd || type == EventType::image;
}

}  // namespace

std::vector<AnyEvent> decodeUploadEvents(const std::vector<std::string>& blocks) {
  std::vector<AnyEvent> events;
  events.reserve(blocks.size());
  for (const auto& block : blocks) {
    if (auto event = decodeAnyEvent(block)) events.push_back(std::move(*event));
  }
  return events;
}

std::optional<AnyEvent> makeImagesEvent(const std::vector<AnyEvent>& events, VideoQualityType quality) {
  const AnyEvent* batchEnd = nullptr;
  std::vector<const AnyEvent*> images;
  for (const auto& event : events) {
    if (event.type == EventType::batchEnd) batchEnd = &event;
    if (event.type == EventType::image && std::holds_alternative<ImageEvent>(event.data)) images.push_back(&event);
  }
  if (images.empty()) return std::nullopt;

  std::stable_sort(images.begin(), images.end(),
                   [](const AnyEvent* a, const AnyEvent* b) { return a->offset < b->offset; });

  const std::int64_t oneFrame = 1000 / framesPerSecond(quality);
  std::vector<ImageData> timed;
  timed.reserve(images.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    const auto& image = std::get<ImageEvent>(images[i]->data);
    std::int64_t duration = 0;
    if (i + 1 < images.size()) {
      duration = images[i + 1]->offset - images[i]->offset;
    } else {
      duration = batchEnd ? batchEnd->offset - images[i]->offset : oneFrame;
      if (duration < 1) duration = oneFrame;
    }
    timed.push_back(ImageData{image.name + ".jpg", image.index, image.width, image.height, duration, image.timestamp});
  }

  // Images that share an index travel next to each other, groups in the order of first appearance.
  std::vector<std::int64_t> indexOrder;
  std::map<std::int64_t, std::vector<ImageData>> byIndex;
  for (auto& data : timed) {
    auto& group = byIndex[data.screenshotIndex];
    if (group.empty()) indexOrder.push_back(data.screenshotIndex);
    group.push_back(std::move(data));
  }
  std::vector<ImageData> list;
  list.reserve(timed.size());
  for (auto index : indexOrder) {
    for (auto& data : byIndex[index]) list.push_back(std::move(data));
  }

  return AnyEvent{EventType::images, batchEnd ? batchEnd->offset : 0, Payload(std::move(list))};
}

void forceApplicationEnd(std::vector<AnyEvent>& events) {
  const bool hasEnd = std::any_of(events.begin(), events.end(),
                                  [](const AnyEvent& event) { return event.type == EventType::applicationEnd; });
  if (!hasEnd || events.back().type == EventType::applicationEnd) return;
  std::erase_if(events, [](const AnyEvent& event) { return event.type == EventType::applicationEnd; });
  if (events.empty()) {
    Logger::log("Fail to parse force applicationEnd is not possible", LogLevel::qa);
    return;
  }
  const std::int64_t offset = events.back().offset + 10;
  events.push_back(AnyEvent{EventType::applicationEnd, offset, Payload(std::string())});
}

std::optional<std::string> buildUploadBody(const std::vector<std::string>& blocks, const UploadBodySettings& settings) {
  return buildUploadBody(decodeUploadEvents(blocks), blocks, settings);
}

std::optional<std::string> buildUploadBody(std::vector<AnyEvent> events, const std::vector<std::string>& blocks,
                                           const UploadBodySettings& settings) {
  if (auto images = makeImagesEvent(events, settings.videoQualityType)) events.push_back(std::move(*images));

  std::stable_sort(events.begin(), events.end(),
                   [](const AnyEvent& a, const AnyEvent& b) { return a.offset < b.offset; });

  if (!settings.captureURLParameters) {
    for (auto& event : events) {
      if (auto* network = std::get_if<Network>(&event.data)) network->parameters.clear();
    }
  }

  if (events.empty()) {
    logStoredBlocks(blocks);
    Logger::log("Fail to parse JSON verification is false", LogLevel::qa);
    return std::nullopt;
  }

  std::erase_if(events, [](const AnyEvent& event) { return removedFromUpload(event.type); });
  forceApplicationEnd(events);

  try {
    Json array = Json::array();
    for (const auto& event : events) array.push_back(Json(event));
    if (verboseLogging()) Logger::log(array.dump(2, ' ', false, Json::error_handler_t::strict), LogLevel::developer);
    return encodeJSON(array);
  } catch (const EncodingError& error) {
    logStoredBlocks(blocks);
    Logger::log("Fail to parse data with error: " + error.description, LogLevel::qa);
  } catch (const nlohmann::json::exception& error) {
    logStoredBlocks(blocks);
    Logger::log("Fail to parse data with error: " + std::string(error.what()), LogLevel::qa);
  }
  return std::nullopt;
}

}  // namespace obx
