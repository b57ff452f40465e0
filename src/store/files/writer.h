// Writer: how values become blocks in files: append queued, write from the start queued, and
// append at once on the caller's thread. FileWriter does the work on the caller's thread;
// DataWriter queues it on the store's serial queue. A queued operation reports its outcome to
// `completion` (nothing on success, the FileError otherwise) on that queue.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "store/directory.h"
#include "store/files/file.h"
#include "store/files/file_error.h"
#include "store/files/write_value.h"

namespace obx {

using WriteCompletion = std::function<void(const std::optional<FileError>& error)>;

class Writer {
 public:
  virtual ~Writer() = default;
  virtual void append(WriteValue value, const Directory& directory, const std::string& fileName,
                      WriteCompletion completion = {}) = 0;
  // The record replaces the bytes from offset 0; the file is not truncated.
  virtual void writeFromStart(WriteValue value, const Directory& directory, const std::string& fileName,
                              WriteCompletion completion = {}) = 0;
  // Done before the call returns. Returns the error, or nothing on success.
  virtual std::optional<FileError> appendNow(const WriteValue& value, const Directory& directory,
                                             const std::string& fileName) = 0;
  // The same into a file already had from FileWriterController::fileForAppending, for a caller
  // that writes one file often and keeps its File.
  virtual std::optional<FileError> appendNow(const WriteValue& value, const File& file) = 0;
};

}  // namespace obx
