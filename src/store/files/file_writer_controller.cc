#include "store/files/file_writer_controller.h"

#include "platform/files/file_manager.h"
#include "store/files/file_error.h"

namespace obx {

File FileWriterController::fileForWriting(const std::filesystem::path& path) const {
  if (platform::fileExistsAtPath(path)) return File(path);
  if (platform::createFileAtPath(path)) throw FileError{"Error to create file at path: " + path.string()};
  return File(path);
}

File FileWriterController::fileForAppending(std::filesystem::path path) const { return File(std::move(path)); }

}  // namespace obx
