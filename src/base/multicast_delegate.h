// MulticastDelegate<T>: a set of weakly held delegates: adding an object already held changes
// nothing, so it is called once per invoke. `invoke` calls an action on every delegate
// still alive that implements T, outside the lock.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace obx {

template <typename T>
class MulticastDelegate {
 public:
  template <typename Object>
  void add(const std::shared_ptr<Object>& object) {
    if (!object) return;
    std::lock_guard lock(mutex_);
    std::weak_ptr<void> weak = std::static_pointer_cast<void>(object);
    std::erase_if(delegates_, [](const Entry& entry) { return entry.object.expired(); });
    for (const Entry& entry : delegates_) {
      // The same owner: the same object, whatever type the pointer was given as.
      if (!entry.object.owner_before(weak) && !weak.owner_before(entry.object)) return;
    }
    T* conforming = dynamic_cast<T*>(object.get());
    delegates_.push_back(Entry{weak, conforming});
  }

  template <typename Object>
  void remove(const std::shared_ptr<Object>& object) {
    std::lock_guard lock(mutex_);
    std::erase_if(delegates_, [&](const Entry& entry) {
      auto alive = entry.object.lock();
      return !alive || alive.get() == static_cast<const void*>(object.get());
    });
  }

  void invoke(const std::function<void(T&)>& action) const {
    std::vector<std::pair<std::shared_ptr<void>, T*>> snapshot;
    {
      std::lock_guard lock(mutex_);
      for (const Entry& entry : delegates_) {
        if (auto alive = entry.object.lock(); alive && entry.conforming) snapshot.emplace_back(alive, entry.conforming);
      }
    }
    for (auto& [keepAlive, delegate] : snapshot) action(*delegate);
  }

  std::size_t liveCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const Entry& entry : delegates_) count += entry.object.expired() ? 0 : 1;
    return count;
  }

 private:
  struct Entry {
    std::weak_ptr<void> object;
    T* conforming;  // null when the object does not implement T
  };
  mutable std::mutex mutex_;
  std::vector<Entry> delegates_;
};

}  // namespace obx
