#include "platform/crash/crash_snapshot_slots.h"

#include <array>
#include <cstring>

namespace obx::platform {
namespace {

struct Slot {
  std::mutex publishing;
  std::atomic<std::uint64_t> sequence{0};
  std::atomic<std::size_t> size{0};
  char bytes[CrashSnapshotSlots::kCapacity];
};

// Static storage: nothing to allocate when a handler reads it, nothing torn down at exit.
std::array<Slot, CrashSnapshotSlots::kSlotCount> gSlots;

}  // namespace

bool CrashSnapshotSlots::publish(std::size_t index, std::string_view bytes) {
  if (index >= kSlotCount) return false;
  Slot& slot = gSlots[index];
  const bool fits = bytes.size() <= kCapacity;
  std::lock_guard lock(slot.publishing);
  slot.sequence.fetch_add(1, std::memory_order_acq_rel);
  std::atomic_thread_fence(std::memory_order_release);
  if (fits && !bytes.empty()) std::memcpy(slot.bytes, bytes.data(), bytes.size());
  slot.size.store(fits ? bytes.size() : 0, std::memory_order_relaxed);
  slot.sequence.fetch_add(1, std::memory_order_release);
  return fits;
}

std::size_t CrashSnapshotSlots::copy(std::size_t index, char* out) {
  if (index >= kSlotCount) return 0;
  const Slot& slot = gSlots[index];
  // A publisher holds the slot for a memcpy at most; the other threads keep running during a crash.
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const std::uint64_t before = slot.sequence.load(std::memory_order_acquire);
    if (before & 1) continue;
    const std::size_t size = slot.size.load(std::memory_order_relaxed);
    if (size > kCapacity) return 0;
    std::memcpy(out, slot.bytes, size);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (slot.sequence.load(std::memory_order_relaxed) == before) return size;
  }
  return 0;
}

}  // namespace obx::platform
