// WriteFailureLog: says once that the store can't write, and once that it writes again. A full disk
// fails every write of every event until space returns; a line per event would flood the log (which
// lies on that same disk) and hide the first, telling failure. Any thread; it calls only Logger.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "store/files/file_error.h"

namespace obx {

class WriteFailureLog {
 public:
  // Logs `message` at level developer when it is the first failure since the last success;
  // later failures are only counted.
  void failed(const std::string& message);
  // After failures, logs "Store writes again after " + count + " failed writes" at level developer.
  void succeeded();
  // One write's outcome: `failed(what + ": " + error)` for an error, else `succeeded()`.
  void record(const std::optional<FileError>& error, const std::string& what);

 private:
  std::mutex mutex_;
  std::uint64_t failures_ = 0;
};

}  // namespace obx
