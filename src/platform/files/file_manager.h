// The file operations the store needs, in the manner of the platform's file manager: existence,
// folders made with their parents, empty files, removal, and a listing of a folder's direct
// entries with their properties. Paths are plain filesystem paths. Nothing throws: a failure comes
// back as a text that names the operation, the path and the system's reason.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dispatch/clock.h"

namespace obx::platform {

bool fileExistsAtPath(const std::filesystem::path& path);
bool directoryExistsAtPath(const std::filesystem::path& path);

// Returns the error text, or nothing on success. An existing directory is a success.
std::optional<std::string> createDirectoryAtPath(const std::filesystem::path& path, bool withIntermediateDirectories);
// Creates the file with `contents`, replacing an existing one. Returns the error text or nothing.
std::optional<std::string> createFileAtPath(const std::filesystem::path& path, std::string_view contents = {});
// Replaces the file with `contents` in one step: readers and a later start find the old file or
// the whole new one, never an empty or partial one. Returns the error text or nothing.
std::optional<std::string> writeFileAtomically(const std::filesystem::path& path, std::string_view contents);
// Removes a file, or a directory with everything in it. Returns the error text or nothing.
std::optional<std::string> removeItemAtPath(const std::filesystem::path& path);
// The whole file, or nothing when it can't be read.
std::optional<std::string> contentsAtPath(const std::filesystem::path& path);

// What `attributesOfItemAtPath:error:` gives of an item: its size in bytes (`NSFileSize`), or the
// error text when the item can't be read.
struct FileAttributes {
  std::optional<std::uint64_t> fileSize;
  std::optional<std::string> error;
};
FileAttributes attributesOfItemAtPath(const std::filesystem::path& path);

struct DirectoryEntry {
  std::filesystem::path url;
  std::string name;
  bool isDirectory = false;
  bool isRegularFile = false;
  bool isHidden = false;  // the name starts with "."
  std::filesystem::path canonicalPath;
  // Birth time where the file system records it, else the last status change.
  Date creationDate = 0;
  Date modificationDate = 0;
  std::uint64_t fileSize = 0;
};

struct DirectoryListing {
  std::vector<DirectoryEntry> entries;  // in the order the file system gives
  std::optional<std::string> error;
};

// The direct entries of `path`, "." and ".." left out, each with its properties. An entry that
// vanishes while being listed is left out.
DirectoryListing contentsOfDirectoryAtPath(const std::filesystem::path& path);

}  // namespace obx::platform
