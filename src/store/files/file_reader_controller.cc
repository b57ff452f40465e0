#include "store/files/file_reader_controller.h"

#include "platform/files/file_manager.h"
#include "store/files/file_error.h"

namespace obx {

std::optional<File> FileReaderController::fileForReading(const std::filesystem::path& path) const {
  if (!platform::fileExistsAtPath(path)) return std::nullopt;
  return File(path);
}

File FileReaderController::existingFile(const std::filesystem::path& path) const {
  if (!platform::fileExistsAtPath(path)) throw FileError{"File doesn't exist at path: " + path.string()};
  return File(path);
}

}  // namespace obx
