// Verbose logging: the upload's extra diagnostics (request URLs, stored blocks, pretty bodies) are
// built only when the process-wide log level admits `qa`, so that a production build doesn't pay
// for texts nobody prints. Any thread.
#pragma once

#include "base/logger.h"

namespace obx {

inline bool verboseLogging() { return static_cast<int>(Logger::level()) >= static_cast<int>(LogLevel::qa); }

}  // namespace obx
