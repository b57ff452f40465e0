// The error values of the store's files: FileError carries the text that is logged, and
// EndOfStreamError ends the block loop of a read (it never reaches a caller of the store).
#pragma once

#include <string>

namespace obx {

struct FileError {
  std::string description;
  bool operator==(const FileError&) const = default;
};

struct EndOfStreamError {
  std::string description = "End of Stream";
};

}  // namespace obx
