// PublishedSnapshot<T>: a value that one owner replaces and any thread, a crashing one included,
// reads without a lock. `publish` builds an immutable copy and swaps one atomic pointer; `read`
// is a single atomic load and takes no lock and allocates nothing, so a signal handler may call it
// whatever lock the interrupted thread holds.
//
// A replaced copy is not freed at once: the last kRetired copies stay alive, so a reader that
// loaded a pointer just before a publish still reads a whole value. A reader must finish with the
// value before kRetired further publications (for a batch, minutes); the crash path does.
// Publishers are serialised by a lock of their own that readers never take.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

namespace obx {

template <typename T>
class PublishedSnapshot {
 public:
  static constexpr std::size_t kRetired = 8;

  PublishedSnapshot() = default;
  explicit PublishedSnapshot(T value) { publish(std::move(value)); }
  PublishedSnapshot(const PublishedSnapshot&) = delete;
  PublishedSnapshot& operator=(const PublishedSnapshot&) = delete;
  ~PublishedSnapshot() { delete current_.load(); }

  void publish(T value) {
    auto* next = new T(std::move(value));
    std::lock_guard lock(publishMutex_);
    T* previous = current_.exchange(next, std::memory_order_acq_rel);
    retired_[nextRetired_].reset(previous);
    nextRetired_ = (nextRetired_ + 1) % kRetired;
  }

  // The last published value, or null before the first publication.
  const T* read() const { return current_.load(std::memory_order_acquire); }

  static constexpr bool isLockFree() { return std::atomic<T*>::is_always_lock_free; }

 private:
  std::atomic<T*> current_{nullptr};
  std::mutex publishMutex_;
  std::array<std::unique_ptr<T>, kRetired> retired_;
  std::size_t nextRetired_ = 0;
};

}  // namespace obx
