// CrashRecordFile: the file a process's crash handlers write into, opened before any crash, and the
// files that processes which died left behind.
//
// Each process has a file of its own in the folder, held under an exclusive lock while it lives; the
// kernel drops the lock when the process dies. So the next start takes only the files whose lock it
// can get: a file still locked belongs to a process that is running.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace obx::platform {

class CrashRecordFile {
 public:
  // Creates and locks a new file in `folder` (made if needed). Nothing when it can't be made.
  static std::optional<CrashRecordFile> create(const std::filesystem::path& folder);
  CrashRecordFile(CrashRecordFile&& other) noexcept;
  CrashRecordFile& operator=(CrashRecordFile&&) = delete;
  CrashRecordFile(const CrashRecordFile&) = delete;
  // Closes the file, and removes it when no crash was written to it.
  ~CrashRecordFile();

  int descriptor() const { return descriptor_; }
  const std::filesystem::path& path() const { return path_; }

  struct Left {
    std::filesystem::path path;
    std::string bytes;
  };
  // The files in `folder` that no running process holds, with their bytes. An empty one (its process
  // ended without a crash) is removed at once and not listed.
  static std::vector<Left> leftBehind(const std::filesystem::path& folder);

 private:
  CrashRecordFile(int descriptor, std::filesystem::path path) : descriptor_(descriptor), path_(std::move(path)) {}

  int descriptor_ = -1;
  std::filesystem::path path_;
};

}  // namespace obx::platform
