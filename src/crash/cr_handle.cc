#include "crash/cr_handle.h"

#include "base/logger.h"
#include "platform/crash/crash_handlers.h"

namespace obx {

CRHandle::CRHandle(const std::filesystem::path& recordsFolder)
    : file_(platform::CrashRecordFile::create(recordsFolder)) {
  if (!file_) {
    Logger::log("Crash reports are off: no record file could be made in " + recordsFolder.string(),
                LogLevel::developer);
    return;
  }
  installed_ = platform::CrashHandlers::install(file_->descriptor());
  if (!installed_) file_.reset();
}

CRHandle::~CRHandle() {
  if (installed_) platform::CrashHandlers::uninstall();
}

}  // namespace obx
