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
  std::optional<std::uint64_t> sizeBefore;
  if (atEnd) {
    sizeBefore = handle->seekToEndReturningOffset(&error);
    if (!sizeBefore) failure = error;
  } else {
    failure = handle->seekToFileOffset(0);
  }
  if (!failure) failure = handle->writeData(bytes);
  // A write that failed half-way (a full disk) left part of a record at the end; the reader would
  // refuse the whole file for it, the blocks before included. The file gets back its size.
  if (failure && atEnd && sizeBefore) handle->truncateAtOffset(*sizeBefore);
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
