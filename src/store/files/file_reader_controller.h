// FileReaderController: the File at a path for reading, nothing when missing.
#pragma once

#include <filesystem>
#include <optional>

#include "store/files/file.h"

namespace obx {

class FileReaderController {
 public:
  virtual ~FileReaderController() = default;
  // The file at `path`, or nothing when no file exists there.
  virtual std::optional<File> fileForReading(const std::filesystem::path& path) const;
  // The file at `path`. Throws FileError "File doesn't exist at path: <path>" when it is missing.
  virtual File existingFile(const std::filesystem::path& path) const;
};

}  // namespace obx
