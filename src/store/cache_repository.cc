#include "store/cache_repository.h"

#include "base/logger.h"
#include "platform/files/file_manager.h"
#include "store/files/file_error.h"

namespace obx {

CacheRepository::CacheRepository(std::shared_ptr<Storage> storage, std::string folderName)
    : storage_(std::move(storage)),
      directory_(Directory::root(Directory::kCacheRootPath, false).appending(folderName, false)) {}

bool CacheRepository::makeDirectory() {
  try {
    Directory::root(Directory::kCacheRootPath, true);
    if (auto error = platform::createDirectoryAtPath(directory_.url, true)) throw FileError{*error};
    return true;
  } catch (const FileError& error) {
    Logger::log("Error creating directory: " + error.description, LogLevel::developer);
    return false;
  }
}

void CacheRepository::write(WriteValue value, const std::string& key) {
  if (!makeDirectory()) return;
  storage_->writer().writeFromStart(std::move(value), directory_, key, [key](const std::optional<FileError>& error) {
    if (error) Logger::log("Error save cache " + key + ": " + error->description, LogLevel::developer);
  });
}

std::optional<std::string> CacheRepository::read(const std::string& key) {
  return storage_->reader().readFirst(directory_, key);
}

void CacheRepository::saveConfiguration(const Json& value, const std::string& key) {
  write(WriteValue::json(value), key);
}

void CacheRepository::saveLeadID(const std::optional<std::string>& value, const std::string& key) {
  if (!value) return;
  write(WriteValue::bytes(*value), key);
}

void CacheRepository::saveImage(std::string bytes, const std::string& key) {
  write(WriteValue::bytes(std::move(bytes)), key);
}

}  // namespace obx
