// Storage: a reader and a writer of block files that work as a pair on one queue.
#pragma once

#include "store/files/reader.h"
#include "store/files/writer.h"

namespace obx {

class Storage {
 public:
  virtual ~Storage() = default;
  virtual Reader& reader() = 0;
  virtual Writer& writer() = 0;
};

}  // namespace obx
