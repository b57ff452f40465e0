// BatchFolders: the batch folders that this process has made and dated, so that the next event of
// a batch goes straight to its file: no folder made, no date file looked at. It only ever errs on
// the safe side: a batch it does not hold takes the full path, and a write into a batch it holds
// that fails because the folder has gone (the upload worker deleted it) drops the batch from here
// and takes the full path again. It remembers the few most recent batches. Thread-safe.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "store/directory.h"
#include "store/files/file.h"

namespace obx {

class BatchFolders {
 public:
  static constexpr std::size_t kCapacity = 8;

  // A batch's folder and its event file `<folder>/<batch ID>`, made once: paths cost more to build
  // than the write they lead to.
  struct Folder {
    Directory directory;
    File events;
  };

  // The folder of `batchID` when it is held, or null.
  std::shared_ptr<const Folder> find(const std::string& batchID) const;
  // Remembers `batchID` and its folder, forgetting the oldest batch beyond kCapacity.
  void insert(const std::string& batchID, const Directory& directory);
  void erase(const std::string& batchID);

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, std::shared_ptr<const Folder>>> batches_;  // oldest first
};

}  // namespace obx
