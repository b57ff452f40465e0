#include "platform/files/file_faults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace obx::platform {
namespace {

std::atomic<FileFaults*> installed{nullptr};

int writeRaw(int fd, const char* data, std::size_t left) {
  while (left > 0) {
    ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

void installFileFaults(FileFaults* faults) { installed.store(faults); }

namespace files_internal {

int writeAll(int fd, const std::filesystem::path& path, std::string_view bytes) {
  FileFaults* faults = installed.load();
  if (!faults) return writeRaw(fd, bytes.data(), bytes.size());
  off_t offset = ::lseek(fd, 0, SEEK_CUR);
  if (offset >= 0 && (::fcntl(fd, F_GETFL) & O_APPEND)) offset = ::lseek(fd, 0, SEEK_END);
  auto allowance = faults->willWrite(path, offset < 0 ? 0 : static_cast<std::uint64_t>(offset), bytes.size());
  const std::size_t allowed = std::min(allowance.bytes, bytes.size());
  if (int error = writeRaw(fd, bytes.data(), allowed)) return error;
  if (allowed < bytes.size()) return allowance.error != 0 ? allowance.error : EIO;
  return allowance.error;
}

void noteSync(int fd, const std::filesystem::path& path) {
  FileFaults* faults = installed.load();
  if (!faults) return;
  struct stat info {};
  if (::fstat(fd, &info) == 0) faults->didSync(path, static_cast<std::uint64_t>(info.st_size));
}

void noteTruncate(const std::filesystem::path& path, std::uint64_t size) {
  if (FileFaults* faults = installed.load()) faults->didTruncate(path, size);
}

void noteRename(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (FileFaults* faults = installed.load()) faults->didRename(from, to);
}

}  // namespace files_internal
}  // namespace obx::platform
