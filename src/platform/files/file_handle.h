// FileHandle: an open file for writing, in the manner of the platform's file handle: seek to the
// end or to an offset, write bytes in one call, close. InputStream: reads a file front to back into
// a caller's buffer, with the stream's error text when a read fails. Neither is thread-safe; each
// is used by one caller at a time. Nothing throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace obx::platform {

class FileHandle {
 public:
  // Opens an existing file for writing, at offset 0. Nothing when it can't be opened; `error`, if
  // given, receives the reason.
  static std::unique_ptr<FileHandle> forWritingAtPath(const std::filesystem::path& path,
                                                      std::string* error = nullptr);
  // Opens an existing file for appending: every write lands at the end of the file as it is at that
  // moment, so writers on other threads or handles never overwrite each other's bytes.
  static std::unique_ptr<FileHandle> forAppendingAtPath(const std::filesystem::path& path,
                                                        std::string* error = nullptr);
  // The same, making the file empty (owner read and write) first when none exists, in the one call
  // that opens it. Fails when the folder is missing.
  static std::unique_ptr<FileHandle> forAppendingCreatingAtPath(const std::filesystem::path& path,
                                                                std::string* error = nullptr);
  ~FileHandle();
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  // Both return the error text, or nothing on success.
  std::optional<std::string> seekToEndOfFile();
  std::optional<std::string> seekToFileOffset(std::uint64_t offset);
  // Writes every byte at the current offset (at the end for an appending handle) in one system call,
  // so that a block appended by another writer never falls inside it. Returns the error text, or
  // nothing on success.
  std::optional<std::string> writeData(std::string_view bytes);
  // The size of the file, the handle left at its end; nothing on failure, with the reason in `error`.
  std::optional<std::uint64_t> seekToEndReturningOffset(std::string* error = nullptr);
  // Cuts the file to `offset` bytes. Returns the error text, or nothing on success.
  std::optional<std::string> truncateAtOffset(std::uint64_t offset);
  // Returns the error text, or nothing. Closing twice is harmless.
  std::optional<std::string> closeFile();

 private:
  FileHandle(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  int fd_;
  // Only failure messages read it: kept as text, which costs less to copy than a path.
  std::string path_;
};

class InputStream {
 public:
  explicit InputStream(std::filesystem::path path) : path_(std::move(path)) {}
  ~InputStream();
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  // Returns false when the file can't be opened; streamError() then says why.
  bool open();
  // Reads up to `maxLength` bytes: the count read, 0 at the end of the file, -1 on an error.
  // Reads less than asked only at the end of the file.
  long read(char* buffer, std::size_t maxLength);
  void close();
  const std::optional<std::string>& streamError() const { return error_; }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  int fd_ = -1;
  std::optional<std::string> error_;
};

}  // namespace obx::platform
