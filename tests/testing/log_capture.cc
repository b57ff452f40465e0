#include "testing/log_capture.h"

#include <algorithm>

namespace obx::testing {

LogCapture::LogCapture() {
  Logger::setLineObserver([this](const std::string& line, LogLevel level) {
    auto cut = line.find(">: ");
    std::string message = cut == std::string::npos ? line : line.substr(cut + 3);
    std::lock_guard lock(mutex_);
    entries_.emplace_back(std::move(message), level);
  });
}

LogCapture::~LogCapture() { Logger::setLineObserver(nullptr); }

std::vector<std::string> LogCapture::messages() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> out;
  for (const auto& entry : entries_) out.push_back(entry.first);
  return out;
}

std::vector<std::pair<std::string, LogLevel>> LogCapture::entries() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

bool LogCapture::contains(const std::string& message) const { return count(message) > 0; }

bool LogCapture::contains(const std::string& message, LogLevel level) const {
  std::lock_guard lock(mutex_);
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const auto& entry) { return entry.first == message && entry.second == level; });
}

std::size_t LogCapture::count(const std::string& message) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == message; }));
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  entries_.clear();
}

}  // namespace obx::testing
