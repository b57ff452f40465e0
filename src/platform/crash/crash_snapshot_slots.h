// CrashSnapshotSlots: preallocated storage that the ordinary code keeps current with what a crash
// report needs of it (the current batch, the events that close a screen), and that a crash handler
// copies into its record without a lock and without allocating.
//
// Each slot is a sequence-counted buffer: `publish` (any thread; publishers of one slot are
// serialised by a lock that the handler never takes) bumps the count to odd, writes, bumps it to
// even; `copy` (async-signal-safe) copies and retries while a publication overlapped its copy.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace obx::platform {

class CrashSnapshotSlots {
 public:
  static constexpr std::size_t kSlotCount = 4;
  static constexpr std::size_t kCapacity = 32 * 1024;

  // Replaces slot `slot`'s bytes; empty clears it. False (and the slot cleared) when the bytes
  // don't fit or the slot does not exist.
  static bool publish(std::size_t slot, std::string_view bytes);

  // Async-signal-safe: copies a whole publication of `slot` into `out` (kCapacity bytes) and
  // returns its size, 0 for an empty slot or one that kept changing under the copy.
  static std::size_t copy(std::size_t slot, char* out);
};

}  // namespace obx::platform
