#include "store/files/file.h"

#include "store/files/file_error.h"

namespace obx {
namespace {

void write(const std::filesystem::path& url, std::string_view bytes, bool atEnd) {
  std::string error;
  // An append goes through an appending handle: the crash path's immediate write and the queued
  // writes may reach the same file at once, and a seek followed by a write could overwrite a block.
  auto handle = atEnd ? platform::FileHandle::forAppendingCreatingAtPath(url, &error)
                      : platform::FileHandle::forWritingAtPath(url, &error);
  if (!handle) throw FileError{error};
  std::optional<std::string> failure;
  if (!atEnd) failure = handle->seekToFileOffset(0);
  if (!failure) failure = handle->writeData(bytes);
  auto closeFailure = handle->closeFile();
  if (failure) throw FileError{*failure};
  if (closeFailure) throw FileError{*closeFailure};
}

}  // namespace

void File::append(std::string_view bytes) const { write(url, bytes, true); }

void File::writeFromStart(std::string_view bytes) const { write(url, bytes, false); }

std::unique_ptr<platform::InputStream> File::inputStream() const {
  return std::make_unique<platform::InputStream>(url);
}

}  // namespace obx
