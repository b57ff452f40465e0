#include "platform/crash/crash_handlers.h"

#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <typeinfo>

#include <cxxabi.h>

namespace obx::platform {
namespace {

constexpr int kSignals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP};
constexpr std::size_t kSignalCount = sizeof(kSignals) / sizeof(kSignals[0]);
constexpr int kMaxFrames = 128;

// Written once by install, before any hook can run; read by the hooks only.
std::atomic<CrashReporter> gReporter{nullptr};
std::terminate_handler gPreviousTerminate = nullptr;
std::array<struct sigaction, kSignalCount> gPreviousActions{};
std::array<bool, kSignalCount> gPreviousKept{};
std::atomic<bool> gInstalled{false};

int slotOf(int signal) {
  for (std::size_t index = 0; index < kSignalCount; ++index) {
    if (kSignals[index] == signal) return static_cast<int>(index);
  }
  return -1;
}

// A report that never returns (the crashed thread held a lock the report needs, the heap's for one)
// would leave the application hung instead of ended. An alarm armed before the report ends the
// process the way a finished report would; it is disarmed before the host's own handlers run, so
// their time is their own.
constexpr unsigned kReportSeconds = 3;
struct sigaction gPreviousAlarm {};

void endHungReport(int) { ::kill(::getpid(), SIGKILL); }

void armReportWatchdog() {
  struct sigaction action {};
  action.sa_handler = endHungReport;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGALRM, &action, &gPreviousAlarm);
  ::alarm(kReportSeconds);
}

void disarmReportWatchdog() {
  ::alarm(0);
  ::sigaction(SIGALRM, &gPreviousAlarm, nullptr);
}

std::string exceptionDescription(std::exception_ptr exception) {
  if (!exception) return "std::terminate called without an active exception";
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    const std::type_info* type = abi::__cxa_current_exception_type();
    return type ? std::string("uncaught exception of type ") + type->name() : "uncaught exception";
  }
}

void terminateHandler() {
  static std::atomic<bool> entered{false};
  if (!entered.exchange(true)) {
    if (CrashReporter reporter = gReporter.load()) {
      armReportWatchdog();
      try {
        CrashReport report{exceptionDescription(std::current_exception()), 0, CrashHandlers::callStackSymbols(1)};
        reporter(report);
      } catch (...) {
        // The process is ending either way; the previous handler still runs.
      }
      disarmReportWatchdog();
    }
  }
  if (gPreviousTerminate) gPreviousTerminate();
  std::abort();
}

void signalHandler(int signal, siginfo_t* info, void* context) {
  // With SA_RESETHAND the default action is back already: a fault in here ends the process.
  if (CrashReporter reporter = gReporter.load()) {
    armReportWatchdog();
    try {
      CrashReport report{CrashHandlers::signalName(signal), signal, CrashHandlers::callStackSymbols(1)};
      reporter(report);
    } catch (...) {
    }
    disarmReportWatchdog();
  }
  int slot = slotOf(signal);
  if (slot >= 0 && gPreviousKept[static_cast<std::size_t>(slot)]) {
    const struct sigaction& previous = gPreviousActions[static_cast<std::size_t>(slot)];
    if (previous.sa_flags & SA_SIGINFO) {
      if (previous.sa_sigaction) previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
      previous.sa_handler(signal);
    }
  }
  ::kill(::getpid(), SIGKILL);
}

}  // namespace

const std::vector<int>& CrashHandlers::signals() {
  static const std::vector<int> list(std::begin(kSignals), std::end(kSignals));
  return list;
}

bool CrashHandlers::install(CrashReporter reporter) {
  if (gInstalled.exchange(true)) return false;
  gReporter.store(reporter);
  // The first backtrace loads the unwinder; do it here rather than inside a signal handler.
  void* warm[4];
  ::backtrace(warm, 4);

  gPreviousTerminate = std::get_terminate();
  std::set_terminate(terminateHandler);

  for (std::size_t index = 0; index < kSignalCount; ++index) {
    struct sigaction previous {};
    if (::sigaction(kSignals[index], nullptr, &previous) == 0) {
      bool set = (previous.sa_flags & SA_SIGINFO) ? previous.sa_sigaction != nullptr
                                                  : (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN);
      gPreviousActions[index] = previous;
      gPreviousKept[index] = set;
    }
  }
  for (int signal : kSignals) {
    struct sigaction action {};
    action.sa_sigaction = signalHandler;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGTERM);
    ::sigaction(signal, &action, nullptr);
  }
  return true;
}

bool CrashHandlers::installed() { return gInstalled.load(); }

const char* CrashHandlers::signalName(int signal) {
  switch (signal) {
    case SIGILL: return "SIGILL";
    case SIGTRAP: return "SIGTRAP";
    case SIGABRT: return "SIGABRT";
    case SIGFPE: return "SIGFPE";
    case SIGBUS: return "SIGBUS";
    case SIGSEGV: return "SIGSEGV";
    case SIGSYS: return "SIGSYS";
    case SIGPIPE: return "SIGPIPE";
    default: return "";
  }
}

std::vector<std::string> CrashHandlers::callStackSymbols(int skip) {
  void* frames[kMaxFrames];
  int count = ::backtrace(frames, kMaxFrames);
  // This function's own frame goes too.
  int first = skip + 1;
  std::vector<std::string> symbols;
  if (count <= first) return symbols;
  char** names = ::backtrace_symbols(frames + first, count - first);
  if (!names) return symbols;
  symbols.reserve(static_cast<std::size_t>(count - first));
  for (int index = 0; index < count - first; ++index) symbols.emplace_back(names[index]);
  std::free(names);
  return symbols;
}

}  // namespace obx::platform
