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
                                           const ReplayImage& image, platform::Date now, ImageWrite write) {
  const std::string& screenID = batch.viewContext.screenID;
  if (!representable(image.size.width) || !representable(image.size.height)) {
    Logger::log("Image of screen " + screenID + " refused: its size is not a number", LogLevel::qa);
    return std::nullopt;
  }
  const auto timestamp = static_cast<std::int64_t>(now * 1000.0);
  Logger::log("Save image for screen: " + screenID + " with index: " + std::to_string(image.index),
              LogLevel::developer);
  Image file{image.index, std::string(image.jpeg), timestamp};
  ImageEvent event{image.index, std::to_string(image.index), static_cast<std::int64_t>(image.size.width),
                   static_cast<std::int64_t>(image.size.height), timestamp};
  const double eventDate = static_cast<double>(timestamp) / 1000.0;
  if (write == ImageWrite::queued) {
    dataController.saveImage(file, batch);
    dataController.saveEvent(EventType::image, eventDate, event, batch);
    if (image.isPlaceholder) dataController.saveEvent(EventType::imagePlaceholder, now, true, batch);
    return event;
  }
  std::optional<FileError> error = dataController.saveImageNow(file, batch);
  if (!error) error = dataController.saveEventNow(EventType::image, eventDate, event, batch);
  if (!error && image.isPlaceholder) error = dataController.saveEventNow(EventType::imagePlaceholder, now, true, batch);
  if (error) {
    Logger::log("Image " + std::to_string(image.index) + " of screen " + screenID + " not written: " +
                    error->description,
                LogLevel::qa);
    return std::nullopt;
  }
  return event;
}

}  // namespace obx
