// ScreenBatches: the batches of one screen that are ready, in listing order, with the earliest
// date among them. ScreenToSend: what the upload takes of one screen: all its event blocks in
// batch order, its images, and the batches to delete once it is sent.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/dispatch/clock.h"
#include "store/events/image.h"

namespace obx {

struct ScreenBatches {
  std::string screenID;
  std::vector<std::string> batchesNames;
  platform::Date date = 0;
  bool operator==(const ScreenBatches&) const = default;
};

struct ScreenToSend {
  std::string id;
  std::vector<std::string> events;  // plain blocks
  std::optional<std::vector<Image>> images;
  std::vector<std::string> batchesName;
};

}  // namespace obx
