#include "store/batch_folders.h"

#include <algorithm>

namespace obx {

std::shared_ptr<const BatchFolders::Folder> BatchFolders::find(const std::string& batchID) const {
  std::lock_guard lock(mutex_);
  for (const auto& [id, directory] : batches_) {
    if (id == batchID) return directory;
  }
  return nullptr;
}

void BatchFolders::insert(const std::string& batchID, const Directory& directory) {
  auto held = std::make_shared<const Folder>(Folder{directory, File(directory.url / batchID)});
  std::lock_guard lock(mutex_);
  std::erase_if(batches_, [&](const auto& entry) { return entry.first == batchID; });
  if (batches_.size() == kCapacity) batches_.erase(batches_.begin());
  batches_.emplace_back(batchID, std::move(held));
}

void BatchFolders::erase(const std::string& batchID) {
  std::lock_guard lock(mutex_);
  std::erase_if(batches_, [&](const auto& entry) { return entry.first == batchID; });
}

}  // namespace obx
