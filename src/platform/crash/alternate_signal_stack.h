// AlternateSignalStack: a stack of its own for the crash handlers on each thread that asks for one,
// so that a handler still runs when the thread died of a stack overflow. The stack is mapped with a
// guard page below it: a handler that overflows it faults at once instead of writing into whatever
// lies beneath. It is freed when the thread ends.
//
// Call ensureForCurrentThread() at the start of every thread that can crash in the SDK's view (the
// main thread, the scheduler's threads); it is cheap after the first call on a thread.
#pragma once

#include <cstddef>

namespace obx::platform {

class AlternateSignalStack {
 public:
  // Room for the handler: its unwinding of the crashed stack and the write of the record.
  static constexpr std::size_t kSize = 64 * 1024;

  // Gives the calling thread its stack unless it has one (its own, or one the host set up).
  // Returns false when no stack could be mapped.
  static bool ensureForCurrentThread();
};

}  // namespace obx::platform
