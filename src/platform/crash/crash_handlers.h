// CrashHandlers: the process-wide hooks that see the process die of a fatal signal (SIGABRT, SIGBUS,
// SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP) or of an uncaught C++ exception.
//
// Installation keeps what the host set: a signal the host ignores stays ignored, a handler of the
// host is kept and called after the report. The signal handlers run on the thread's alternate stack
// when it has one (AlternateSignalStack), so a stack overflow is reported too.
//
// The hooks do only async-signal-safe work: no allocation, no lock, no stdio, no exception. They
// write one RawCrashRecord (signal, code, address, thread, time, the frames' addresses from the
// faulting instruction on, the exception's type and text, the CrashSnapshotSlots and the memory
// map) to the file given at installation, with write(2); symbols are resolved at the next start.
// Then the host's handler runs, and the process ends by the signal it got: the default action is
// restored and the signal raised again, so a core dump or the system's crash collector sees it. A
// host handler that returns from a signal it can survive (anything but SIGABRT) keeps the process
// alive, and the record is taken back. Only the first crashing thread reports: another thread that
// faults meanwhile waits, then the process ends by the first signal; a fault inside the handler
// ends it at once by the default action, and a report still unfinished after a second (an alarm)
// ends it by its signal.
//
// install and uninstall are called from ordinary code, not concurrently with each other.
#pragma once

#include <vector>

namespace obx::platform {

class CrashHandlers {
 public:
  // The signals caught, in the order they are installed.
  static const std::vector<int>& signals();

  // Installs the hooks; records go to `recordFile`, which the caller keeps open until uninstall.
  // False (and nothing changes) when they are installed already.
  static bool install(int recordFile);
  // Puts back the previous actions and terminate handler, where the hooks are still in place (a
  // handler the host installed later stays); records are no longer written.
  static void uninstall();
  static bool installed();

  // "SIGSEGV" for 11 and so on for the eight signals; "" for any other number.
  static const char* signalName(int signal);
};

}  // namespace obx::platform
