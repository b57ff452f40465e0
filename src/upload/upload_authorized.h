// UploadAuthorized: the gate the upload worker tests before each screen. It starts `authorized`;
// only the server's configuration answer changes it. Shared between the configuration fetch and the
// uploader; read and written from any queue.
#pragma once

#include <atomic>

namespace obx {

enum class Authorization { undefined, authorized, unauthorized };

struct UploadAuthorized {
  std::atomic<Authorization> status{Authorization::authorized};
};

}  // namespace obx
