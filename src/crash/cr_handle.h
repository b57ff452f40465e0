// CRHandle: the crash hooks of the process while the crash feature lives. Made, it opens this
// process's crash record file in the records folder and installs the hooks to write there; destroyed,
// it puts back the handlers the host had and closes the file (removed if no crash was written).
// One at a time: a second handle while one lives installs nothing.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "platform/crash/crash_record_file.h"

namespace obx {

class CRHandle {
 public:
  // The hooks are in place when `installed()`; a file that can't be made is logged and leaves the
  // process without hooks.
  explicit CRHandle(const std::filesystem::path& recordsFolder);
  ~CRHandle();
  CRHandle(const CRHandle&) = delete;
  CRHandle& operator=(const CRHandle&) = delete;

  bool installed() const { return installed_; }

 private:
  std::optional<platform::CrashRecordFile> file_;
  bool installed_ = false;
};

}  // namespace obx
