#include "store/directory.h"

#include "platform/files/file_manager.h"
#include "platform/files/sandbox.h"
#include "store/files/file_error.h"

namespace obx {

Directory Directory::root(const std::string& rootPath, bool create) {
  const std::filesystem::path base = platform::applicationSupportDirectory();
  if (base.empty() || (create && platform::createDirectoryAtPath(base, true))) {
    throw FileError{"Error to obtain /Library/Application Support/ url"};
  }
  return rootAt(base, rootPath, create);
}

Directory Directory::rootAt(const std::filesystem::path& base, const std::string& rootPath, bool create) {
  Directory directory;
  directory.url = base / rootPath;
  directory.rootPath = rootPath;
  if (create && platform::createDirectoryAtPath(directory.url, true)) {
    throw FileError{"Error when create subdirectory in /Library/Caches/"};
  }
  return directory;
}

Directory Directory::appending(const std::string& component, bool create) const {
  Directory directory = *this;
  directory.url = url / component;
  if (create) {
    if (auto error = platform::createDirectoryAtPath(directory.url, true)) throw FileError{*error};
  }
  return directory;
}

}  // namespace obx
