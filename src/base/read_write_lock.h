// ReadWriteLock<Value>: a value behind a reader-writer lock. Readers copy the value out and work on
// the copy; writers replace or mutate it under the write lock. Never call into another object while
// holding it: `mutate` is for plain edits of the value itself.
#pragma once

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace obx {

template <typename Value>
class ReadWriteLock {
 public:
  ReadWriteLock() = default;
  explicit ReadWriteLock(Value value) : value_(std::move(value)) {}
  ReadWriteLock(const ReadWriteLock&) = delete;
  ReadWriteLock& operator=(const ReadWriteLock&) = delete;

  Value get() const {
    std::shared_lock lock(mutex_);
    return value_;
  }
  void set(Value value) {
    std::unique_lock lock(mutex_);
    value_ = std::move(value);
  }
  template <typename Edit>
  auto mutate(Edit&& edit) {
    std::unique_lock lock(mutex_);
    return edit(value_);
  }
  template <typename Read>
  auto read(Read&& read) const {
    std::shared_lock lock(mutex_);
    return read(value_);
  }

 private:
  mutable std::shared_mutex mutex_;
  Value value_{};
};

}  // namespace obx
