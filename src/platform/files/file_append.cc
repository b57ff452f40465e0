#include "platform/files/file_append.h"

#include <fcntl.h>
#include <unistd.h>

#include <system_error>

namespace obx::platform {

bool appendToFile(const std::filesystem::path& file, std::string_view bytes) noexcept {
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  if (error) return false;
  int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const char* data = bytes.data();
  std::size_t left = bytes.size();
  bool ok = true;
  while (left > 0) {
    ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  return ::close(fd) == 0 && ok;
}

}  // namespace obx::platform
