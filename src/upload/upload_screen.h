// UploadScreen: one screen ready to go out: its cleaned identifiers, its start, the bytes of its
// encrypted ZIP and, under weighted sampling, the screen's WeightedSampling record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/net/http_headers.h"
#include "store/events/payloads.h"

namespace obx {

struct UploadScreen {
  std::string cScreenID;
  std::string id;
  std::string sessionID;  // cleaned: before the first "|", without "+" and "-"
  std::string leadID;     // cleaned the same way
  std::int64_t startTime = 0;
  platform::Data zip;
  std::optional<WeightedSampling> isInSampling;
};

}  // namespace obx
