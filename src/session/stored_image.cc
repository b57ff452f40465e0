#include "session/stored_image.h"

#include <cmath>
#include <string>

#include "base/logger.h"
#include "store/data_controller.h"

namespace obx {
namespace {

bool representable(double side) { return std::isfinite(side) && side > -9.2e18 && side < 9.2e18; }

}  // namespace

std::optional<ImageEvent> storeReplayImage(DataController& dataController, const BatchContext& batch,
                                           const ReplayImage& image, platform::Date now) {
  const std::string& screenID = batch.viewContext.screenID;
  if (!representable(image.size.width) || !representable(image.size.height)) {
    Logger::log("Image of screen " + screenID + " refused: its size is not a number", LogLevel::qa);
    return std::nullopt;
  }
  const auto timestamp = static_cast<std::int64_t>(now * 1000.0);
  Logger::log("Save image for screen: " + screenID + " with index: " + std::to_string(image.index),
              LogLevel::developer);
  dataController.saveImage(Image{image.index, std::string(image.jpeg), timestamp}, batch);
  ImageEvent event{image.index, std::to_string(image.index), static_cast<std::int64_t>(image.size.width),
                   static_cast<std::int64_t>(image.size.height), timestamp};
  dataController.saveEvent(EventType::image, static_cast<double>(timestamp) / 1000.0, event, batch);
  if (image.isPlaceholder) dataController.saveEvent(EventType::imagePlaceholder, now, true, batch);
  return event;
}

}  // namespace obx
