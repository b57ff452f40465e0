// Logger: every diagnostic line of the SDK. A line is "<OmbrixOBX yyyy-MM-dd HH:mm:ss>: message";
// it is printed when the process-wide level admits its level, and, whatever the level, appended to
// the session's log file when the server allows logs and a log identity exists. Everything here is
// static and may be called from any thread; nothing it does reaches the caller as an error.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "obx/enums.h"

namespace obx {

class Logger {
 public:
  Logger() = delete;

  static void log(const std::string& message, LogLevel level);
  // True when a line of `level` would be printed, filed or observed: `log` drops the others before
  // building anything. A hot path whose message costs something to put together asks first.
  static bool takes(LogLevel level);
  // Appends `message` and a newline to the current session's log file, on "obx.ombrix.logs-write".
  static void saveLog(const std::string& message);

  static LogLevel level();
  static void setLevel(LogLevel level);
  static bool showLocalLogs();
  static void setShowLocalLogs(bool value);
  static bool allowLogs();
  static void setAllowLogs(bool value);
  // "<publicSessionID>_<leadID>", or absent before the first session.
  static std::optional<std::string> logIdentity();
  static void setLogIdentity(std::optional<std::string> identity);

  // The folder of the session logs under the store root. It holds no batch.
  static constexpr const char* kLogsDirectoryName = "obx.ombrix.zips";
  // The file a given identity writes to: <store root>/obx.ombrix.zips/<identity>/<first part>.
  static std::optional<std::string> logFilePath(const std::string& identity);

  // Every line built, with its level, before the level decides on printing. For hosts that forward
  // diagnostics elsewhere, and for tests. Pass an empty function to remove.
  using LineObserver = std::function<void(const std::string& line, LogLevel level)>;
  static void setLineObserver(LineObserver observer);
};

}  // namespace obx
