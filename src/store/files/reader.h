// Reader: how the store reads block files back, lists the files of a folder and the folders of a
// root. FileReader does the work on the caller's thread; DataReader runs it synchronously on the
// store's serial queue, after every write queued before it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/directory.h"
#include "store/files/file.h"

namespace obx {

class Reader {
 public:
  virtual ~Reader() = default;
  // The plain blocks of `<directory>/<fileName>` in file order, or nothing when the file is
  // missing or damaged (a damaged file is deleted).
  virtual std::optional<std::vector<std::string>> read(const Directory& directory, const std::string& fileName) = 0;
  // The first plain block of the file only, for files written from the start (the cache), whose
  // tail may hold the rest of a longer earlier record. Nothing when missing or damaged.
  virtual std::optional<std::string> readFirst(const Directory& directory, const std::string& fileName) = 0;
  // The regular files of `directory`, in the order the file system gives; empty on an error.
  virtual std::vector<File> files(const Directory& directory) = 0;
  // The folders directly inside `root`, hidden ones left out; empty on an error.
  virtual std::vector<Directory> subdirectories(const Directory& root) = 0;
};

}  // namespace obx
