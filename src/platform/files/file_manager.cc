#include "platform/files/file_manager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

#include "platform/files/file_faults.h"

namespace obx::platform {
namespace {

std::string failure(std::string_view operation, const std::filesystem::path& path, int error) {
  return std::string(operation) + " \"" + path.string() + "\": " + std::strerror(error);
}

Date toDate(const struct statx_timestamp& stamp) {
  return static_cast<Date>(stamp.tv_sec) + static_cast<Date>(stamp.tv_nsec) / 1e9;
}

}  // namespace

bool fileExistsAtPath(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

FileAttributes attributesOfItemAtPath(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    return FileAttributes{std::nullopt, failure("Could not read attributes of", path, errno)};
  }
  return FileAttributes{static_cast<std::uint64_t>(info.st_size), std::nullopt};
}

bool directoryExistsAtPath(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<std::string> createDirectoryAtPath(const std::filesystem::path& path, bool withIntermediateDirectories) {
  std::error_code error;
  if (withIntermediateDirectories) {
    std::filesystem::create_directories(path, error);
  } else {
    std::filesystem::create_directory(path, error);
  }
  if (error) return failure("Could not create directory", path, error.value());
  if (!directoryExistsAtPath(path)) return failure("Could not create directory", path, ENOTDIR);
  return std::nullopt;
}

std::optional<std::string> createFileAtPath(const std::filesystem::path& path, std::string_view contents) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return failure("Could not create file", path, errno);
  files_internal::noteTruncate(path, 0);
  const int writeError = files_internal::writeAll(fd, path, contents);
  if (::close(fd) != 0 && writeError == 0) return failure("Could not write file", path, errno);
  if (writeError != 0) return failure("Could not write file", path, writeError);
  return std::nullopt;
}

std::optional<std::string> writeFileAtomically(const std::filesystem::path& path, std::string_view contents) {
  // A hidden temporary beside the target, renamed over it once complete: a reader, or a process
  // killed half-way, sees the old file or the whole new one, never a truncated one.
  std::string temporary = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
  int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return failure("Could not create file", path, errno);
  files_internal::noteTruncate(temporary, 0);
  int writeError = files_internal::writeAll(fd, temporary, contents);
  if (writeError == 0 && ::fsync(fd) != 0) writeError = errno;
  if (writeError == 0) files_internal::noteSync(fd, temporary);
  if (::close(fd) != 0 && writeError == 0) writeError = errno;
  if (writeError != 0) {
    ::unlink(temporary.c_str());
    return failure("Could not write file", path, writeError);
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    return failure("Could not write file", path, error);
  }
  files_internal::noteRename(temporary, path);
  return std::nullopt;
}

std::optional<std::string> removeItemAtPath(const std::filesystem::path& path) {
  std::error_code error;
  // remove_all reports success for a missing path; the platform's removal calls that an error.
  if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) {
    return failure("Could not remove", path, ENOENT);
  }
  std::filesystem::remove_all(path, error);
  if (error) return failure("Could not remove", path, error.value());
  return std::nullopt;
}

std::optional<std::string> contentsAtPath(const std::filesystem::path& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string out;
  char buffer[64 * 1024];
  for (;;) {
    ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      return std::nullopt;
    }
    if (count == 0) break;
    out.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(fd);
  return out;
}

DirectoryListing contentsOfDirectoryAtPath(const std::filesystem::path& path) {
  DirectoryListing listing;
  std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), &::closedir);
  if (!directory) {
    listing.error = failure("Could not list directory", path, errno);
    return listing;
  }
  for (;;) {
    errno = 0;
    struct dirent* item = ::readdir(directory.get());
    if (!item) {
      if (errno != 0) listing.error = failure("Could not list directory", path, errno);
      break;
    }
    std::string name = item->d_name;
    if (name == "." || name == "..") continue;
    DirectoryEntry entry;
    entry.url = path / name;
    entry.name = name;
    entry.isHidden = !name.empty() && name.front() == '.';
    struct statx info {};
    if (::statx(AT_FDCWD, entry.url.c_str(), 0, STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_BTIME,
                &info) != 0) {
      continue;
    }
    entry.isDirectory = S_ISDIR(info.stx_mode);
    entry.isRegularFile = S_ISREG(info.stx_mode);
    entry.fileSize = info.stx_size;
    entry.modificationDate = toDate(info.stx_mtime);
    entry.creationDate = (info.stx_mask & STATX_BTIME) ? toDate(info.stx_btime) : toDate(info.stx_ctime);
    std::error_code error;
    entry.canonicalPath = std::filesystem::canonical(entry.url, error);
    if (error) entry.canonicalPath = entry.url;
    listing.entries.push_back(std::move(entry));
  }
  return listing;
}

}  // namespace obx::platform
