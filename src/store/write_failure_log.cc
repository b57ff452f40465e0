#include "store/write_failure_log.h"

#include "base/logger.h"

namespace obx {

void WriteFailureLog::failed(const std::string& message) {
  bool first = false;
  {
    std::lock_guard lock(mutex_);
    first = failures_++ == 0;
  }
  if (first) Logger::log(message, LogLevel::developer);
}

void WriteFailureLog::succeeded() {
  std::uint64_t failures = 0;
  {
    std::lock_guard lock(mutex_);
    std::swap(failures, failures_);
  }
  if (failures > 0) {
    Logger::log("Store writes again after " + std::to_string(failures) + " failed writes", LogLevel::developer);
  }
}

void WriteFailureLog::record(const std::optional<FileError>& error, const std::string& what) {
  if (error) {
    failed(what + ": " + error->description);
  } else {
    succeeded();
  }
}

}  // namespace obx
