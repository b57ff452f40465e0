#include "upload/errors.h"

namespace obx {

std::string description(const UploadError& error) {
  return std::visit([](const auto& value) { return value.description; }, error);
}

}  // namespace obx
