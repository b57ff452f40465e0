#include "platform/files/file_append.h"

#include <fcntl.h>
#include <unistd.h>

#include <system_error>

#include "platform/files/file_faults.h"

namespace obx::platform {

bool appendToFile(const std::filesystem::path& file, std::string_view bytes) noexcept {
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  if (error) return false;
  int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool ok = files_internal::writeAll(fd, file, bytes) == 0;
  return ::close(fd) == 0 && ok;
}

}  // namespace obx::platform
