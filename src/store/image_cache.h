// ImageCache: a memory-only cache of rendered images by key, in front of the placeholders and the
// wireframe image views. Thread-safe. With a count limit, the entry set longest ago is evicted
// first. `shared()` is the process-wide instance for one image type.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace obx {

template <typename ImageType>
class ImageCache {
 public:
  static ImageCache& shared() {
    static auto* cache = new ImageCache();
    return *cache;
  }

  std::shared_ptr<const ImageType> objectForKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto found = entries_.find(key);
    return found == entries_.end() ? nullptr : found->second.image;
  }

  void setObject(std::shared_ptr<const ImageType> image, const std::string& key) {
    if (!image) {
      removeObjectForKey(key);
      return;
    }
    std::lock_guard lock(mutex_);
    eraseLocked(key);
    order_.push_back(key);
    entries_[key] = Entry{std::move(image), std::prev(order_.end())};
    while (countLimit_ > 0 && entries_.size() > countLimit_) eraseLocked(order_.front());
  }

  void removeObjectForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    eraseLocked(key);
  }

  void removeAllObjects() {
    std::lock_guard lock(mutex_);
    entries_.clear();
    order_.clear();
  }

  // 0 means no limit.
  void setCountLimit(std::size_t limit) {
    std::lock_guard lock(mutex_);
    countLimit_ = limit;
    while (countLimit_ > 0 && entries_.size() > countLimit_) eraseLocked(order_.front());
  }

  std::size_t count() const {
    std::lock_guard lock(mutex_);
    return entries_.size();
  }

 private:
  struct Entry {
    std::shared_ptr<const ImageType> image;
    std::list<std::string>::iterator position;
  };

  void eraseLocked(const std::string& key) {
    auto found = entries_.find(key);
    if (found == entries_.end()) return;
    order_.erase(found->second.position);
    entries_.erase(found);
  }

  mutable std::mutex mutex_;
  std::unordered_map<std::string, Entry> entries_;
  std::list<std::string> order_;
  std::size_t countLimit_ = 0;
};

}  // namespace obx
