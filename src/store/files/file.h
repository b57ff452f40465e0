// File: one file of the store, by its path (`url`) and its last path component (`name`). It is
// both the file to write (append, write from the start) and the file to read (an input stream).
// Every write opens a handle, writes the record in one call and closes the handle; an append makes
// the file when it is missing (its folder must exist).
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files/file_handle.h"

namespace obx {

class FileToWrite {
 public:
  virtual ~FileToWrite() = default;
  // Both throw FileError with the platform's text on failure.
  virtual void append(std::string_view bytes) const = 0;
  // Replaces the bytes from offset 0 without truncating the file.
  virtual void writeFromStart(std::string_view bytes) const = 0;
};

class FileToRead {
 public:
  virtual ~FileToRead() = default;
  // A stream on the file, not yet opened.
  virtual std::unique_ptr<platform::InputStream> inputStream() const = 0;
};

class File final : public FileToWrite, public FileToRead {
 public:
  explicit File(std::filesystem::path url) : url(std::move(url)), name(this->url.filename().string()) {}

  void append(std::string_view bytes) const override;
  void writeFromStart(std::string_view bytes) const override;
  std::unique_ptr<platform::InputStream> inputStream() const override;

  std::filesystem::path url;
  std::string name;
};

}  // namespace obx
