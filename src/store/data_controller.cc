#include "store/data_controller.h"

#include <cmath>

#include "base/logger.h"

namespace obx {

DataController::DataController(std::shared_ptr<Repository> repository) : repository_(std::move(repository)) {}

std::optional<std::int64_t> DataController::offset(platform::Date eventDate, platform::Date screenDate) {
  const double milliseconds = (eventDate - screenDate) * 1000.0;
  // 2^63 is exactly representable; every double in [-2^63, 2^63) truncates into int64.
  if (!std::isfinite(milliseconds) || milliseconds >= 9223372036854775808.0 ||
      milliseconds < -9223372036854775808.0) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(milliseconds);
}

std::optional<FileError> DataController::reject(EventType type, const BatchContext& batch) {
  FileError error{"Invalid offset for event " + std::string(rawValue(type)) + " in screenID: " + batch.id};
  Logger::log(error.description, LogLevel::developer);
  return error;
}

std::optional<FileError> DataController::store(EventType type, std::int64_t offset, const BatchContext& batch,
                                               const Json& data, bool now) {
  std::string bytes;
  try {
    bytes = encodeEvent(type, offset, data);
  } catch (const EncodingError& error) {
    Logger::log("Error encoding event " + std::string(rawValue(type)) + ": " + error.description,
                LogLevel::developer);
    return FileError{error.description};
  }
  if (Logger::takes(LogLevel::developer)) {
    Logger::log("Save event " + std::string(rawValue(type)) + " in screenID: " + batch.id, LogLevel::developer);
  }
  if (now) return repository_->saveNow(WriteValue::bytes(std::move(bytes)), batch.id);
  repository_->save(WriteValue::bytes(std::move(bytes)), batch.id);
  return std::nullopt;
}

void DataController::saveImage(const Image& image, const BatchContext& batch) { repository_->saveImage(image, batch.id); }

std::vector<Repository::DirectoryDate> DataController::readyBatches(const std::optional<BatchContext>& current) {
  return repository_->readyBatches(current);
}

std::vector<ScreenBatches> DataController::screenBatches(const std::vector<Repository::DirectoryDate>& batches) {
  return Repository::screenBatches(batches);
}

ScreenToSend DataController::screenToSend(const ScreenBatches& screen) { return repository_->screenToSend(screen); }

void DataController::deleteImages(const std::string& batchID) {
  if (auto error = repository_->deleteImages(batchID)) {
    Logger::log("Error deleting images directory: " + *error, LogLevel::developer);
  }
}

void DataController::deleteBatch(const std::string& batchID) {
  if (auto error = repository_->deleteBatch(batchID)) {
    Logger::log("Error deleting screen: " + *error + ".", LogLevel::developer);
  }
}

}  // namespace obx
