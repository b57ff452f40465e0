// LogCapture: records every line the Logger builds while it lives, with its level.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/logger.h"

namespace obx::testing {

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  // Messages without the "<OmbrixOBX date>: " prefix, in order.
  std::vector<std::string> messages() const;
  std::vector<std::pair<std::string, LogLevel>> entries() const;
  bool contains(const std::string& message) const;
  bool contains(const std::string& message, LogLevel level) const;
  std::size_t count(const std::string& message) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, LogLevel>> entries_;
};

}  // namespace obx::testing
