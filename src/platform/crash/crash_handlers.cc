#include "platform/crash/crash_handlers.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <typeinfo>

#include <cxxabi.h>

#include "platform/crash/alternate_signal_stack.h"
#include "platform/crash/crash_snapshot_slots.h"
#include "platform/crash/raw_crash_record.h"

namespace obx::platform {
namespace {

constexpr int kSignals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTRAP};
constexpr std::size_t kSignalCount = sizeof(kSignals) / sizeof(kSignals[0]);
constexpr std::size_t kMaxFrames = 128;
// Frames above the faulting one (the handler's, the kernel's trampoline) before giving up the search.
constexpr std::size_t kMaxSkipped = 64;
// How long a second crashing thread waits for the first one's report: far more than a report takes.
constexpr int kWaitSteps = 200;
constexpr long kWaitStepNanoseconds = 10'000'000;

// Set by install and uninstall (ordinary code); read by the hooks.
std::atomic<int> gRecordFile{-1};
std::atomic<bool> gInstalled{false};
std::array<struct sigaction, kSignalCount> gPrevious{};
std::array<bool, kSignalCount> gOurs{};
std::terminate_handler gPreviousTerminate = nullptr;

// The crash in progress: the thread that reports, the signal the process will end by.
std::atomic<pid_t> gReporter{0};
std::atomic<int> gFirstSignal{0};
// The reporter came through the terminate hook and has not had its SIGABRT yet.
std::atomic<bool> gAwaitingAbort{false};
// The last crash a host handler returned from; the same fault again means it did not recover.
struct Recovered {
  pid_t thread = 0;
  int signal = 0;
  std::uint64_t pc = 0;
  std::uint64_t address = 0;
};
Recovered gRecovered;

// The reporter's work space, static so that the handler neither allocates nor needs a large stack.
std::uint64_t gFrames[kMaxFrames];
char gSnapshot[CrashSnapshotSlots::kCapacity];
char gChunk[8192];

pid_t currentThread() { return static_cast<pid_t>(::syscall(SYS_gettid)); }

int slotOf(int signal) {
  for (std::size_t index = 0; index < kSignalCount; ++index) {
    if (kSignals[index] == signal) return static_cast<int>(index);
  }
  return -1;
}

bool isHandler(const struct sigaction& action) {
  if (action.sa_flags & SA_SIGINFO) return action.sa_sigaction != nullptr;
  return action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN;
}

// ---- Writing, with write(2) only ----

void writeAll(int file, const void* data, std::size_t size) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
}

void writeItem(int file, std::uint32_t tag, const void* data, std::size_t size, const void* prefix = nullptr,
               std::size_t prefixSize = 0) {
  const std::uint32_t header[2] = {tag, static_cast<std::uint32_t>(prefixSize + size)};
  writeAll(file, header, sizeof(header));
  if (prefixSize) writeAll(file, prefix, prefixSize);
  if (size) writeAll(file, data, size);
}

void writeMaps(int file) {
  int maps = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (maps < 0) return;
  for (;;) {
    ssize_t count = ::read(maps, gChunk, sizeof(gChunk));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    writeItem(file, RawCrashRecord::kMaps, gChunk, static_cast<std::size_t>(count));
  }
  ::close(maps);
}

// ---- Unwinding ----

// Where the stack starts: the faulting instruction of a signal, or the frame that called the C++
// runtime's throw (or terminate) for an exception.
struct Unwinding {
  std::uintptr_t pc = 0;  // signal: the faulting instruction
  bool afterThrow = false;
  bool found = false;
  std::size_t skipped = 0;
  std::size_t count = 0;
};

// The C++ runtime's code (throw, terminate), found at installation: an exception's stack begins at
// the first frame below it.
std::uintptr_t gRuntimeStart = 0;
std::uintptr_t gRuntimeEnd = 0;

bool inRuntime(std::uintptr_t ip) { return ip >= gRuntimeStart && ip < gRuntimeEnd; }

int findExecutableRange(struct dl_phdr_info* info, std::size_t, void* argument) {
  const auto wanted = *static_cast<const std::uintptr_t*>(argument);
  if (info->dlpi_addr != wanted) return 0;
  for (int index = 0; index < info->dlpi_phnum; ++index) {
    const ElfW(Phdr)& header = info->dlpi_phdr[index];
    if (header.p_type != PT_LOAD || !(header.p_flags & PF_X)) continue;
    gRuntimeStart = info->dlpi_addr + header.p_vaddr;
    gRuntimeEnd = gRuntimeStart + header.p_memsz;
    return 1;
  }
  return 0;
}

void findRuntime() {
  Dl_info info{};
  if (gRuntimeEnd || !::dladdr(reinterpret_cast<void*>(&__cxxabiv1::__cxa_throw), &info)) return;
  // dl_iterate_phdr names each object by its load bias; dladdr gives its base: they agree for
  // shared objects.
  auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
  ::dl_iterate_phdr(findExecutableRange, &base);
}

_Unwind_Reason_Code collectFrame(struct _Unwind_Context* context, void* argument) {
  auto& unwinding = *static_cast<Unwinding*>(argument);
  int beforeInstruction = 0;
  const std::uintptr_t ip = _Unwind_GetIPInfo(context, &beforeInstruction);
  if (ip == 0) return _URC_END_OF_STACK;
  if (unwinding.afterThrow) {
    // The hook's frames, then the runtime's; the stack begins below them.
    if (unwinding.count == 0 && inRuntime(ip)) {
      unwinding.found = true;
      return _URC_NO_REASON;
    }
    if (!unwinding.found) return ++unwinding.skipped > kMaxSkipped ? _URC_END_OF_STACK : _URC_NO_REASON;
  } else if (!unwinding.found) {
    if (ip != unwinding.pc) return ++unwinding.skipped > kMaxSkipped ? _URC_END_OF_STACK : _URC_NO_REASON;
    unwinding.found = true;
  }
  gFrames[unwinding.count++] = ip;
  return unwinding.count >= kMaxFrames ? _URC_END_OF_STACK : _URC_NO_REASON;
}

std::uintptr_t faultingInstruction(void* context) {
  if (!context) return 0;
  const auto* user = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__)
  return static_cast<std::uintptr_t>(user->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
  return static_cast<std::uintptr_t>(user->uc_mcontext.pc);
#else
  (void)user;
  return 0;
#endif
}

// The frames from the faulting one on, into gFrames; returns their count.
std::size_t unwind(std::uintptr_t pc, bool afterThrow) {
  Unwinding unwinding;
  unwinding.pc = pc;
  unwinding.afterThrow = afterThrow;
  _Unwind_Backtrace(collectFrame, &unwinding);
  if (unwinding.count > 0) return unwinding.count;
  // The unwinder could not get past the signal frame: the faulting instruction stands alone.
  if (pc == 0) return 0;
  gFrames[0] = pc;
  return 1;
}

// ---- The record ----

void writeRecord(int file, RawCrashRecord::Kind kind, int signal, const siginfo_t* info, std::size_t frames,
                 const char* exceptionType, const char* exceptionWhat) {
  RawCrashRecord::Begin begin;
  begin.kind = static_cast<std::uint32_t>(kind);
  begin.signal = signal;
  begin.code = info ? info->si_code : 0;
  begin.address = info ? reinterpret_cast<std::uint64_t>(info->si_addr) : 0;
  begin.thread = currentThread();
  struct timespec now {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  begin.seconds = now.tv_sec;
  begin.nanoseconds = now.tv_nsec;
  writeItem(file, RawCrashRecord::kBegin, &begin, sizeof(begin));
  writeItem(file, RawCrashRecord::kFrames, gFrames, frames * sizeof(std::uint64_t));
  if (exceptionType) writeItem(file, RawCrashRecord::kExceptionType, exceptionType, std::strlen(exceptionType));
  if (exceptionWhat) writeItem(file, RawCrashRecord::kExceptionWhat, exceptionWhat, std::strlen(exceptionWhat));
  for (std::uint32_t slot = 0; slot < CrashSnapshotSlots::kSlotCount; ++slot) {
    std::size_t size = CrashSnapshotSlots::copy(slot, gSnapshot);
    if (size) writeItem(file, RawCrashRecord::kSnapshot, gSnapshot, size, &slot, sizeof(slot));
  }
  writeMaps(file);
  writeItem(file, RawCrashRecord::kEnd, nullptr, 0);
}

// ---- Ending ----

// Restores the default action of `signal` and raises it on this thread; being blocked in the
// handler, it is delivered as the handler returns and ends the process.
void endBy(int signal) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
  ::syscall(SYS_tgkill, ::getpid(), currentThread(), signal);
}

// Another thread reports: wait for it to end the process, then end it by its signal.
void waitForReporter(int signal) {
  for (int step = 0; step < kWaitSteps; ++step) {
    struct timespec pause {0, kWaitStepNanoseconds};
    ::nanosleep(&pause, nullptr);
  }
  int first = gFirstSignal.load();
  endBy(first ? first : signal);
}

// A report that never finishes (the unwinder stuck on a lock the crashed thread held) must not
// leave the application hung: an alarm armed for the report ends the process by its signal. It is
// disarmed before the host's handler runs, whose time is its own.
constexpr unsigned kReportSeconds = 1;

void endHungReport(int) { endBy(gFirstSignal.load() ? gFirstSignal.load() : SIGABRT); }

struct sigaction gHostAlarm {};

void armReportAlarm() {
  struct sigaction action {};
  action.sa_handler = endHungReport;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGALRM, &action, &gHostAlarm);
  ::alarm(kReportSeconds);
}

void disarmReportAlarm() {
  ::alarm(0);
  ::sigaction(SIGALRM, &gHostAlarm, nullptr);
}

bool callPrevious(int signal, siginfo_t* info, void* context) {
  int slot = slotOf(signal);
  if (slot < 0 || !gInstalled.load()) return false;
  const struct sigaction& previous = gPrevious[static_cast<std::size_t>(slot)];
  if (!isHandler(previous)) return false;
  if (previous.sa_flags & SA_SIGINFO) {
    previous.sa_sigaction(signal, info, context);
  } else {
    previous.sa_handler(signal);
  }
  return true;
}

void signalHandler(int signal, siginfo_t* info, void* context) {
  const int savedErrno = errno;
  const pid_t self = currentThread();
  pid_t owner = 0;
  if (!gReporter.compare_exchange_strong(owner, self)) {
    if (owner != self) {
      waitForReporter(signal);
      errno = savedErrno;
      return;
    }
    if (!(signal == SIGABRT && gAwaitingAbort.exchange(false))) {
      // A fault inside the handler itself.
      endBy(signal);
      errno = savedErrno;
      return;
    }
    // The abort that follows this thread's uncaught exception: reported as a death of its own.
  }
  if (owner == 0) gFirstSignal.store(signal);

  const std::uint64_t pc = faultingInstruction(context);
  const std::uint64_t address = info ? reinterpret_cast<std::uint64_t>(info->si_addr) : 0;
  const bool repeated = gRecovered.thread == self && gRecovered.signal == signal && gRecovered.pc == pc &&
                        gRecovered.address == address;

  const int file = gRecordFile.load();
  off_t recordStart = -1;
  if (file >= 0) {
    armReportAlarm();
    recordStart = ::lseek(file, 0, SEEK_END);
    writeRecord(file, RawCrashRecord::Kind::signal, signal, info, unwind(pc, false), nullptr, nullptr);
    disarmReportAlarm();
  }
  // A host handler that already returned from this very fault is not asked again.
  const bool hostReturned = !repeated && callPrevious(signal, info, context);
  // abort() never returns: whatever its handler did, the process ends. A fault the host mended runs
  // again as the handler returns; one it did not comes back here as `repeated`.
  if (hostReturned && signal != SIGABRT) {
    // The host handled it: the process goes on, and the report is taken back.
    if (file >= 0 && recordStart >= 0) ::ftruncate(file, recordStart);
    gRecovered = Recovered{self, signal, pc, address};
    gFirstSignal.store(0);
    gReporter.store(0);
    errno = savedErrno;
    return;
  }
  endBy(signal);
  errno = savedErrno;
}

void terminateHandler() {
  const pid_t self = currentThread();
  pid_t owner = 0;
  if (gReporter.compare_exchange_strong(owner, self)) {
    gFirstSignal.store(SIGABRT);
    const int file = gRecordFile.load();
    if (file >= 0) {
      armReportAlarm();
      const char* typeName = nullptr;
      const char* what = nullptr;
      // The current exception's object and type, read without rethrowing it (which allocates).
      if (const std::type_info* type = abi::__cxa_current_exception_type()) {
        typeName = type->name();
        std::exception_ptr current = std::current_exception();
        void* object = *reinterpret_cast<void**>(&current);
        if (object && typeid(std::exception).__do_catch(type, &object, 1)) {
          what = static_cast<const std::exception*>(object)->what();
        }
      }
      writeRecord(file, RawCrashRecord::Kind::exception, 0, nullptr, unwind(0, true), typeName, what ? what : "");
      disarmReportAlarm();
    }
    gAwaitingAbort.store(true);
  } else if (owner != self) {
    waitForReporter(SIGABRT);
  }
  if (gPreviousTerminate) gPreviousTerminate();
  std::abort();
}

}  // namespace

const std::vector<int>& CrashHandlers::signals() {
  static const std::vector<int> list(std::begin(kSignals), std::end(kSignals));
  return list;
}

bool CrashHandlers::install(int recordFile) {
  if (gInstalled.load()) return false;
  AlternateSignalStack::ensureForCurrentThread();
  // The unwinder's first use sets up tables; do it here rather than inside a handler.
  Unwinding warm;
  warm.afterThrow = true;
  _Unwind_Backtrace(collectFrame, &warm);

  gRecordFile.store(recordFile);
  gReporter.store(0);
  gFirstSignal.store(0);
  gRecovered = Recovered{};
  findRuntime();
  gPreviousTerminate = std::set_terminate(terminateHandler);
  if (gPreviousTerminate == terminateHandler) gPreviousTerminate = nullptr;

  for (std::size_t index = 0; index < kSignalCount; ++index) {
    gOurs[index] = false;
    struct sigaction previous {};
    if (::sigaction(kSignals[index], nullptr, &previous) != 0) continue;
    // A signal the host ignores stays ignored: a broken pipe must not end a host that expects it.
    if (!(previous.sa_flags & SA_SIGINFO) && previous.sa_handler == SIG_IGN) continue;
    gPrevious[index] = previous;
    struct sigaction action {};
    action.sa_sigaction = signalHandler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    // Another fatal signal inside the handler then finds itself blocked, and the kernel ends the
    // process by it at once.
    for (int signal : kSignals) sigaddset(&action.sa_mask, signal);
    gOurs[index] = ::sigaction(kSignals[index], &action, nullptr) == 0;
  }
  gInstalled.store(true);
  return true;
}

void CrashHandlers::uninstall() {
  if (!gInstalled.load()) return;
  for (std::size_t index = 0; index < kSignalCount; ++index) {
    if (!gOurs[index]) continue;
    struct sigaction current {};
    // A handler the host installed after ours is the host's to keep.
    if (::sigaction(kSignals[index], nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) &&
        current.sa_sigaction == signalHandler) {
      ::sigaction(kSignals[index], &gPrevious[index], nullptr);
    }
    gOurs[index] = false;
  }
  if (std::get_terminate() == terminateHandler && gPreviousTerminate) std::set_terminate(gPreviousTerminate);
  gRecordFile.store(-1);
  gInstalled.store(false);
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

}  // namespace obx::platform
