// Directory: a folder of the store: its path (`url`), the name of the store's root folder it lies
// in (`rootPath`, "obx.ombrix" or "obx.ombrix.cache") and the name of the date folder kind
// (`dateDirectory`). Built with or without making the folder on the disk.
#pragma once

#include <filesystem>
#include <string>

namespace obx {

struct Directory {
  static constexpr const char* kRootPath = "obx.ombrix";
  static constexpr const char* kCacheRootPath = "obx.ombrix.cache";
  static constexpr const char* kDateDirectory = ".date";

  std::filesystem::path url;
  std::string rootPath = kRootPath;
  std::string dateDirectory = kDateDirectory;

  // The root folder `rootPath` inside the application-support folder. With `create`, makes both;
  // throws FileError "Error to obtain /Library/Application Support/ url" when the application-support
  // folder can't be had, and "Error when create subdirectory in /Library/Caches/" when the root
  // can't be made.
  static Directory root(const std::string& rootPath = kRootPath, bool create = true);
  // The same, under an explicit base folder (the inspect tool, tests).
  static Directory rootAt(const std::filesystem::path& base, const std::string& rootPath, bool create);

  // This folder with `component` appended (a relative path of one or more components). With
  // `create`, makes it with its intermediate folders; throws FileError with the platform's text.
  Directory appending(const std::string& component, bool create) const;

  // The last path component.
  std::string name() const { return url.filename().string(); }
  // True for the date folder kind, which gets no ".date.dat".
  bool isDateKind() const { return name() == "date" || name() == dateDirectory; }

  bool operator==(const Directory&) const = default;
};

}  // namespace obx
