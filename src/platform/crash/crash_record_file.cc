#include "platform/crash/crash_record_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace obx::platform {

std::optional<CrashRecordFile> CrashRecordFile::create(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  struct timespec now {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  char name[64];
  std::snprintf(name, sizeof(name), "%lld-%ld-%d.crash", static_cast<long long>(now.tv_sec), now.tv_nsec,
                static_cast<int>(::getpid()));
  std::filesystem::path path = folder / name;
  int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0) return std::nullopt;
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    ::close(descriptor);
    ::unlink(path.c_str());
    return std::nullopt;
  }
  return CrashRecordFile(descriptor, std::move(path));
}

CrashRecordFile::CrashRecordFile(CrashRecordFile&& other) noexcept
    : descriptor_(other.descriptor_), path_(std::move(other.path_)) {
  other.descriptor_ = -1;
}

CrashRecordFile::~CrashRecordFile() {
  if (descriptor_ < 0) return;
  struct stat status {};
  if (::fstat(descriptor_, &status) == 0 && status.st_size == 0) ::unlink(path_.c_str());
  ::close(descriptor_);
}

std::vector<CrashRecordFile::Left> CrashRecordFile::leftBehind(const std::filesystem::path& folder) {
  std::vector<Left> left;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (!entry.is_regular_file(error) || entry.path().extension() != ".crash") continue;
    int descriptor = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) continue;
    // Held: its process still runs (this one's own file included).
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
      ::close(descriptor);
      continue;
    }
    std::string bytes;
    char buffer[65536];
    for (;;) {
      ssize_t count = ::read(descriptor, buffer, sizeof(buffer));
      if (count <= 0) break;
      bytes.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(descriptor);
    if (bytes.empty()) {
      std::filesystem::remove(entry.path(), error);
      continue;
    }
    left.push_back({entry.path(), std::move(bytes)});
  }
  return left;
}

}  // namespace obx::platform
