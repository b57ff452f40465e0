// FileWriterController: the File at a path for writing, made empty when missing.
#pragma once

#include <filesystem>

#include "store/files/file.h"

namespace obx {

class FileWriterController {
 public:
  virtual ~FileWriterController() = default;
  // The file at `path`, created empty if none exists. Throws FileError
  // "Error to create file at path: <path>".
  virtual File fileForWriting(const std::filesystem::path& path) const;
  // The file at `path` for an append, without a look at the disk: the append itself opens the
  // file, making it empty first when none exists, so a batch's events cost one open each.
  virtual File fileForAppending(std::filesystem::path path) const;
};

}  // namespace obx
