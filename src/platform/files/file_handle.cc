#include "platform/files/file_handle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/files/file_faults.h"

namespace obx::platform {
namespace {

std::string failure(std::string_view operation, const std::filesystem::path& path, int error) {
  return std::string(operation) + " \"" + path.string() + "\": " + std::strerror(error);
}

}  // namespace

namespace {

int openForWriting(const std::filesystem::path& path, int extraFlags, std::string* error) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | extraFlags, 0600);
  if (fd < 0 && error) *error = failure("Could not open file for writing", path, errno);
  return fd;
}

}  // namespace

std::unique_ptr<FileHandle> FileHandle::forWritingAtPath(const std::filesystem::path& path, std::string* error) {
  int fd = openForWriting(path, 0, error);
  if (fd < 0) return nullptr;
  return std::unique_ptr<FileHandle>(new FileHandle(fd, path.native()));
}

std::unique_ptr<FileHandle> FileHandle::forAppendingAtPath(const std::filesystem::path& path, std::string* error) {
  int fd = openForWriting(path, O_APPEND, error);
  if (fd < 0) return nullptr;
  return std::unique_ptr<FileHandle>(new FileHandle(fd, path.native()));
}

std::unique_ptr<FileHandle> FileHandle::forAppendingCreatingAtPath(const std::filesystem::path& path,
                                                                std::string* error) {
  int fd = openForWriting(path, O_APPEND | O_CREAT, error);
  if (fd < 0) return nullptr;
  return std::unique_ptr<FileHandle>(new FileHandle(fd, path.native()));
}

FileHandle::~FileHandle() { closeFile(); }

std::optional<std::string> FileHandle::seekToEndOfFile() {
  if (fd_ < 0) return failure("Could not seek in closed file", path_, EBADF);
  if (::lseek(fd_, 0, SEEK_END) < 0) return failure("Could not seek in file", path_, errno);
  return std::nullopt;
}

std::optional<std::string> FileHandle::seekToFileOffset(std::uint64_t offset) {
  if (fd_ < 0) return failure("Could not seek in closed file", path_, EBADF);
  if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0) return failure("Could not seek in file", path_, errno);
  return std::nullopt;
}

std::optional<std::string> FileHandle::writeData(std::string_view bytes) {
  if (fd_ < 0) return failure("Could not write to closed file", path_, EBADF);
  if (int error = files_internal::writeAll(fd_, path_, bytes)) return failure("Could not write to file", path_, error);
  return std::nullopt;
}

std::optional<std::uint64_t> FileHandle::seekToEndReturningOffset(std::string* error) {
  if (fd_ < 0) {
    if (error) *error = failure("Could not seek in closed file", path_, EBADF);
    return std::nullopt;
  }
  off_t end = ::lseek(fd_, 0, SEEK_END);
  if (end < 0) {
    if (error) *error = failure("Could not seek in file", path_, errno);
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(end);
}

std::optional<std::string> FileHandle::truncateAtOffset(std::uint64_t offset) {
  if (fd_ < 0) return failure("Could not truncate closed file", path_, EBADF);
  if (::ftruncate(fd_, static_cast<off_t>(offset)) != 0) return failure("Could not truncate file", path_, errno);
  files_internal::noteTruncate(path_, offset);
  return std::nullopt;
}

std::optional<std::string> FileHandle::closeFile() {
  if (fd_ < 0) return std::nullopt;
  int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0) return failure("Could not close file", path_, errno);
  return std::nullopt;
}

InputStream::~InputStream() { close(); }

bool InputStream::open() {
  if (fd_ >= 0) return true;
  fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) {
    error_ = failure("Could not open file for reading", path_, errno);
    return false;
  }
  return true;
}

long InputStream::read(char* buffer, std::size_t maxLength) {
  if (fd_ < 0) {
    error_ = failure("Could not read from closed stream", path_, EBADF);
    return -1;
  }
  std::size_t total = 0;
  // A plain file may still return short counts; keep reading so that short means end of file.
  while (total < maxLength) {
    ssize_t count = ::read(fd_, buffer + total, maxLength - total);
    if (count < 0) {
      if (errno == EINTR) continue;
      error_ = failure("Could not read from file", path_, errno);
      return -1;
    }
    if (count == 0) break;
    total += static_cast<std::size_t>(count);
  }
  return static_cast<long>(total);
}

void InputStream::close() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

}  // namespace obx::platform
