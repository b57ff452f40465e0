#include "base/logger.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/files/file_append.h"
#include "platform/files/sandbox.h"
#include "platform/text/date_format.h"

namespace obx {
namespace {

struct LoggerState {
  std::atomic<int> level{static_cast<int>(LogLevel::public_)};
  std::atomic<bool> showLocalLogs{false};
  std::atomic<bool> allowLogs{false};
  // Mirrors of the guarded fields below, so a line nobody takes is dropped without the mutex.
  std::atomic<bool> hasIdentity{false};
  std::atomic<bool> hasObserver{false};
  std::mutex mutex;  // guards the fields below
  std::optional<std::string> identity;
  Logger::LineObserver observer;
  std::shared_ptr<platform::DispatchQueue> writeQueue;
  std::weak_ptr<platform::Scheduler> writeQueueScheduler;
};

LoggerState& state() {
  static auto* instance = new LoggerState();
  return *instance;
}

std::vector<std::string> splitIdentity(const std::string& identity) {
  std::vector<std::string> parts;
  std::string part;
  for (char c : identity) {
    if (c == '_') {
      if (!part.empty()) parts.push_back(part);
      part.clear();
    } else {
      part.push_back(c);
    }
  }
  if (!part.empty()) parts.push_back(part);
  return parts;
}

// Made on first use, and again if the process's scheduler was replaced since.
std::shared_ptr<platform::DispatchQueue> writeQueue() {
  auto scheduler = platform::defaultScheduler();
  auto& s = state();
  std::lock_guard lock(s.mutex);
  if (!s.writeQueue || s.writeQueueScheduler.lock() != scheduler) {
    s.writeQueue = platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.logs-write");
    s.writeQueueScheduler = scheduler;
  }
  return s.writeQueue;
}

}  // namespace

bool Logger::takes(LogLevel level) {
  auto& s = state();
  const bool printed = s.level.load(std::memory_order_relaxed) >= static_cast<int>(level);
  const bool filed = s.allowLogs.load(std::memory_order_relaxed) && s.hasIdentity.load(std::memory_order_relaxed);
  return printed || filed || s.hasObserver.load(std::memory_order_relaxed);
}

void Logger::log(const std::string& message, LogLevel level) {
  try {
    // Checked before the line is built: a line that the console, the log file and the observer
    // would all refuse costs a few atomic loads.
    if (!takes(level)) return;
    auto now = platform::defaultScheduler()->clock().now();
    std::string line = "<OmbrixOBX " + platform::formatDate(now, "yyyy-MM-dd HH:mm:ss") + ">: " + message;
    saveLog(line);
    LineObserver observer;
    {
      std::lock_guard lock(state().mutex);
      observer = state().observer;
    }
    if (observer) observer(line, level);
    if (static_cast<int>(Logger::level()) >= static_cast<int>(level)) {
      std::fputs((line + "\n").c_str(), stdout);
      std::fflush(stdout);
    }
  } catch (...) {
  }
}

void Logger::saveLog(const std::string& message) {
  try {
    if (!allowLogs()) return;
    auto identity = logIdentity();
    if (!identity) return;
    if (splitIdentity(*identity).empty()) return;
    auto path = logFilePath(*identity);
    if (!path) return;
    std::string bytes = message + "\n";
    writeQueue()->async([file = *path, bytes = std::move(bytes)] { platform::appendToFile(file, bytes); });
  } catch (...) {
  }
}

std::optional<std::string> Logger::logFilePath(const std::string& identity) {
  auto parts = splitIdentity(identity);
  if (parts.empty()) return std::nullopt;
  auto root = platform::applicationSupportDirectory() / "obx.ombrix";
  return (root / kLogsDirectoryName / identity / parts.front()).string();
}

LogLevel Logger::level() { return static_cast<LogLevel>(state().level.load()); }
void Logger::setLevel(LogLevel level) { state().level.store(static_cast<int>(level)); }
bool Logger::showLocalLogs() { return state().showLocalLogs.load(); }
void Logger::setShowLocalLogs(bool value) { state().showLocalLogs.store(value); }
bool Logger::allowLogs() { return state().allowLogs.load(); }
void Logger::setAllowLogs(bool value) { state().allowLogs.store(value); }

std::optional<std::string> Logger::logIdentity() {
  std::lock_guard lock(state().mutex);
  return state().identity;
}

void Logger::setLogIdentity(std::optional<std::string> identity) {
  std::lock_guard lock(state().mutex);
  state().hasIdentity.store(identity.has_value());
  state().identity = std::move(identity);
}

void Logger::setLineObserver(LineObserver observer) {
  std::lock_guard lock(state().mutex);
  state().hasObserver.store(static_cast<bool>(observer));
  state().observer = std::move(observer);
}

}  // namespace obx
