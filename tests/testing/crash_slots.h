// What a crash handler would copy from a crash snapshot slot right now, decoded.
#pragma once

#include <optional>
#include <string_view>

#include "platform/crash/crash_snapshot_slots.h"
#include "session/crash_snapshot.h"

namespace obx::testing {

inline std::optional<CrashSnapshot::Decoded> crashSlot(CrashSnapshot::Part part) {
  static char copy[platform::CrashSnapshotSlots::kCapacity];
  const std::size_t size = platform::CrashSnapshotSlots::copy(static_cast<std::size_t>(part), copy);
  if (size == 0) return std::nullopt;
  return CrashSnapshot::decode(std::string_view(copy, size));
}

}  // namespace obx::testing
