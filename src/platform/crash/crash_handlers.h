// CrashHandlers: the process-wide hooks that see the process die. An uncaught C++ exception reaches
// the terminate handler; the eight fatal signals (SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV,
// SIGSYS, SIGTRAP) reach a signal handler. Each hook reports once to the reporter given at
// installation, then hands over to whatever handler was in place before it, which keeps another
// crash reporter of the host working. A signal handler then ends the process with SIGKILL; the
// terminate handler lets the previous handler abort, which comes back as SIGABRT. A report that
// has not returned after 3 seconds is given up: SIGALRM ends the process with SIGKILL.
//
// Installed once per process and never removed: the kept handlers live in static storage.
#pragma once

#include <string>
#include <vector>

namespace obx::platform {

struct CrashReport {
  std::string description;  // the exception's text, or the signal's name
  int signal = 0;           // 0 for an uncaught exception
  std::vector<std::string> symbols;
};

using CrashReporter = void (*)(const CrashReport& report);

class CrashHandlers {
 public:
  // The signals caught, in the order they are installed.
  static const std::vector<int>& signals();

  // Installs the hooks with `reporter`; true on the first call, false (and nothing changes) after.
  static bool install(CrashReporter reporter);
  static bool installed();

  // "SIGSEGV" for 11 and so on for the eight signals; "" for any other number.
  static const char* signalName(int signal);

  // The frames of the calling thread as text, the innermost first, leaving out `skip` frames
  // above the caller's own.
  static std::vector<std::string> callStackSymbols(int skip = 0);
};

}  // namespace obx::platform
