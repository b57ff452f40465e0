// BatchContext: the batch every feature writes under. Its id is "<screenID>_<yyyyMMddHHmmss>".
#pragma once

#include <string>

#include "lifecycle/view_context.h"

namespace obx {

struct BatchContext {
  std::string id;
  ViewContext viewContext;
  bool operator==(const BatchContext&) const = default;
};

}  // namespace obx
