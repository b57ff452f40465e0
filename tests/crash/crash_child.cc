// obx-crash-child: a host application that records one screen with the SDK and then dies the way it
// is told, for the crash tests and scripts/crash_soak.sh. It is linked with its symbols exported, so
// that the stack of a report names the functions below.
//
//   obx-crash-child <kind> <sandbox> <collector URL> [options]
//     kinds: exception segv abort bus fpe ill trap sys overflow thread two-threads lock-other
//     lock-self guarded (a write to a page of no access) pipe (a broken pipe, which a host that
//     ignores SIGPIPE survives: exit 0)
//   obx-crash-child <kind> <folder> hooks [options]: no SDK, only the platform's crash hooks, writing
//     <folder>/record.crash with snapshot slot 1 "snapshot of the test"; <folder>/functions names the
//     address of each faulting function below, one "<name> <address>" a line, for a reader that
//     checks where a stack begins
//   obx-crash-child upload <sandbox> <collector URL>: the next run, which sends the spool and exits 0
//     (1 when something is left after 30 seconds)
//     --before-batch    crash once the crash feature is registered, before any screen
//     --disabled        crashReporterEnabled false
//     --host-handler    install the host's own handlers first; they write <sandbox>/host-handler
//     --host-handler-after  the same handlers, installed after the SDK, chaining to the SDK's
//     --host-mends      the host's handler makes the guarded page writable, so the process lives on
//     --ignore-sigpipe  the host ignores SIGPIPE before the SDK starts
//     --installed-file  write <sandbox>/installed: "1" when a signal handler is in place at the crash
//
// Just before it crashes it writes <sandbox>/crashing: the monotonic clock in nanoseconds.
// Exit 3 when the SDK never got ready, 4 when the process outlives its fault; otherwise it ends by
// the crash.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "core/core.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/bundle/bundle_info.h"
#include "platform/crash/alternate_signal_stack.h"
#include "platform/crash/crash_handlers.h"
#include "platform/crash/crash_snapshot_slots.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/file_faults.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"
#include "session/tracked_events.h"
#include "testing/fake_reachability.h"

namespace {

class CrashingScreen : public obx::platform::ViewController {};

std::string gHostMarker;
std::string gCrashingMarker;
struct sigaction gSDKAction {};
bool gHostMends = false;
char* gGuardedPage = nullptr;

// Writes with write(2) only: it runs inside a signal handler.
void writeMarker(const std::string& path, const char* text, int flags = O_APPEND) {
  int file = ::open(path.c_str(), O_WRONLY | O_CREAT | flags, 0644);
  if (file < 0) return;
  ssize_t ignored = ::write(file, text, std::strlen(text));
  (void)ignored;
  ::close(file);
}

void hostSignalHandler(int signal, siginfo_t* info, void* context) {
  char line[64];
  std::snprintf(line, sizeof(line), "signal %d %d\n", signal, info ? info->si_signo : -1);
  writeMarker(gHostMarker, line);
  if (gHostMends && gGuardedPage) ::mprotect(gGuardedPage, 4096, PROT_READ | PROT_WRITE);
  // Installed after the SDK, the host chains to the handler it found, as a careful host does.
  if (gSDKAction.sa_flags & SA_SIGINFO && gSDKAction.sa_sigaction) gSDKAction.sa_sigaction(signal, info, context);
}

void hostTerminateHandler() {
  writeMarker(gHostMarker, "terminate\n");
  std::abort();
}

void installHostHandlers(bool chainToSDK) {
  struct sigaction action {};
  action.sa_sigaction = hostSignalHandler;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  for (int signal : {SIGABRT, SIGBUS, SIGSEGV}) ::sigaction(signal, &action, chainToSDK ? &gSDKAction : nullptr);
  if (!chainToSDK) std::set_terminate(hostTerminateHandler);
}

bool signalHandlerInstalled() {
  struct sigaction current {};
  ::sigaction(SIGSEGV, nullptr, &current);
  if (current.sa_flags & SA_SIGINFO) return current.sa_sigaction != nullptr;
  return current.sa_handler != SIG_DFL;
}

void noteCrashing() {
  struct timespec now {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const std::string text = std::to_string(static_cast<long long>(now.tv_sec) * 1'000'000'000LL + now.tv_nsec);
  writeMarker(gCrashingMarker, text.c_str(), O_TRUNC);
}

}  // namespace

// The crashing functions, named in the reports' stacks. Through volatile values, so that the
// compiler neither drops the fault nor turns the call into a jump that leaves the function out.
int* volatile gNowhere = nullptr;
void (*volatile gAbort)() = std::abort;
volatile int gZero = 0;
volatile int gOne = 1;
volatile int gSink = 0;

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildThrow() {
  throw std::runtime_error("obx-crash-child: uncaught exception");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildSegv() {
  *gNowhere = 1;
  std::puts("still alive after the fault");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildAbort() {
  gAbort();
  std::puts("still alive after abort");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildGuarded() {
  gGuardedPage[0] = 1;
}

// A real SIGBUS: a shared mapping past the end of an empty file.
extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildBus(const char* path) {
  int file = ::open(path, O_RDWR | O_CREAT | O_TRUNC, 0644);
  if (file < 0) std::abort();
  auto* page = static_cast<volatile char*>(::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
  if (page == MAP_FAILED) std::abort();
  page[0] = 1;
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildFpe() {
  // Both volatile: a constant dividend lets the compiler answer without dividing.
  gSink = gOne / gZero;
  std::puts("still alive after the division");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildIll() {
#if defined(__x86_64__) || defined(__i386__)
  asm volatile("ud2");
#else
  __builtin_trap();
#endif
  std::puts("still alive after the illegal instruction");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildTrap() {
#if defined(__x86_64__) || defined(__i386__)
  asm volatile("int3");
#else
  asm volatile("brk #0");
#endif
  std::puts("still alive after the trap");
}

// A system call the process's seccomp filter refuses with SIGSYS, made from this function itself.
constexpr long kRefusedCall = 0x1ee7;

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildSys() {
#if defined(__x86_64__)
  long result;
  asm volatile("syscall" : "=a"(result) : "a"(kRefusedCall) : "rcx", "r11", "memory");
  gSink = static_cast<int>(result);
#else
  gSink = static_cast<int>(::syscall(kRefusedCall));
#endif
  std::puts("still alive after the refused call");
}

bool refuseCallWithSigsys() {
  struct sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(kRefusedCall), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  struct sock_fprog program = {static_cast<unsigned short>(sizeof(filter) / sizeof(filter[0])), filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Deep enough to overflow any stack; the pad keeps each frame large and the sum keeps the call from
// becoming a loop.
extern "C" __attribute__((noinline, visibility("default"))) int obxCrashChildRecurse(int depth) {
  volatile char pad[512];
  pad[depth % 512] = static_cast<char>(depth);
  if (depth == gZero - 1) return 0;
  return obxCrashChildRecurse(depth + 1) + pad[(depth + 1) % 512];
}

// Writes to a pipe whose reader is gone.
int brokenPipe() {
  int ends[2];
  if (::pipe(ends) != 0) return 6;
  ::close(ends[0]);
  ssize_t written = ::write(ends[1], "x", 1);
  ::close(ends[1]);
  return written < 0 && errno == EPIPE ? 0 : 7;
}

// A disk that stops in the middle of the store's next event write: the writing thread blocks there
// (lock-other) or faults there (lock-self).
class StallingFiles final : public obx::platform::FileFaults {
 public:
  explicit StallingFiles(bool fault) : fault_(fault) {}
  Allowance willWrite(const std::filesystem::path& path, std::uint64_t, std::size_t size) override {
    const std::string text = path.string();
    if (text.find("/obx.ombrix/") == std::string::npos || text.find("/cache/") != std::string::npos) {
      return {size, 0};
    }
    if (fault_) obxCrashChildSegv();
    entered_.store(true);
    for (;;) ::pause();
  }
  void didSync(const std::filesystem::path&, std::uint64_t) override {}
  void didTruncate(const std::filesystem::path&, std::uint64_t) override {}
  void didRename(const std::filesystem::path&, const std::filesystem::path&) override {}
  bool entered() const { return entered_.load(); }

 private:
  const bool fault_;
  std::atomic<bool> entered_{false};
};

// Dies the way `kind` says; 4 when the process lives on.
int crash(const std::string& kind, const std::filesystem::path& root) {
  if (kind == "pipe") return brokenPipe();
  if (kind == "sys" && !refuseCallWithSigsys()) return 8;
  if (kind == "exception") obxCrashChildThrow();
  if (kind == "segv") obxCrashChildSegv();
  if (kind == "guarded") obxCrashChildGuarded();
  if (kind == "abort") obxCrashChildAbort();
  if (kind == "bus") obxCrashChildBus((root / "bus-file").c_str());
  if (kind == "fpe") obxCrashChildFpe();
  if (kind == "ill") obxCrashChildIll();
  if (kind == "trap") obxCrashChildTrap();
  if (kind == "sys") obxCrashChildSys();
  if (kind == "overflow") gSink = obxCrashChildRecurse(0);
  if (kind == "thread") std::thread([] { obxCrashChildSegv(); }).join();
  if (kind == "two-threads") {
    std::atomic<int> ready{0};
    auto both = [&ready] {
      ready.fetch_add(1);
      while (ready.load() < 2) {
      }
      obxCrashChildSegv();
    };
    std::thread first(both), second(both);
    first.join();
    second.join();
  }
  return 4;
}

// The platform's hooks alone, as the SDK installs them, then the death.
int crashUnderHooksOnly(const std::string& kind, const std::filesystem::path& folder) {
  std::ofstream functions(folder / "functions");
  const std::pair<const char*, const void*> named[] = {
      {"obxCrashChildThrow", reinterpret_cast<const void*>(&obxCrashChildThrow)},
      {"obxCrashChildSegv", reinterpret_cast<const void*>(&obxCrashChildSegv)},
      {"obxCrashChildGuarded", reinterpret_cast<const void*>(&obxCrashChildGuarded)},
      {"obxCrashChildRecurse", reinterpret_cast<const void*>(&obxCrashChildRecurse)}};
  for (const auto& [name, address] : named) functions << name << ' ' << reinterpret_cast<std::uintptr_t>(address) << '\n';
  functions.close();
  obx::platform::AlternateSignalStack::ensureForCurrentThread();
  obx::platform::CrashHandlers::install(::open((folder / "record.crash").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
  obx::platform::CrashSnapshotSlots::publish(1, "snapshot of the test");
  return crash(kind, folder);
}

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s <kind> <sandbox> <collector URL> [options]\n", argv[0]);
    return 2;
  }
  const std::string kind = argv[1];
  const std::filesystem::path root = argv[2];
  const std::string url = argv[3];
  const std::set<std::string> options(argv + 4, argv + argc);
  auto given = [&options](const char* option) { return options.count(option) > 0; };
  const bool beforeBatch = given("--before-batch"), disabled = given("--disabled");
  gHostMends = given("--host-mends");
  gHostMarker = (root / "host-handler").string();
  gCrashingMarker = (root / "crashing").string();
  if (given("--host-handler")) installHostHandlers(false);
  // As a user starts it, SIGPIPE has its default action, whatever the parent had ignored.
  ::signal(SIGPIPE, given("--ignore-sigpipe") ? SIG_IGN : SIG_DFL);
  gGuardedPage = static_cast<char*>(::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  if (url == "hooks") return crashUnderHooksOnly(kind, root);

  using namespace obx;
  auto scheduler = std::make_shared<platform::RealScheduler>();
  platform::setSandboxRoot(root / "sandbox");
  platform::setDefaultScheduler(scheduler);
  platform::Application::resetShared(scheduler);
  platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
  auto reachability = std::make_shared<testing::FakeReachability>();
  reachability->set(platform::Reachability::Connection::wifi);

  Configuration configuration("acc", "prop", Consent::analyticsAndRecording, !disabled, true, false, false, false);
  configuration.endpoint = Endpoint::custom(url, url + "/replay/");
  auto core = Core::make(scheduler, [reachability](std::shared_ptr<platform::Scheduler>) { return reachability; });
  core->initialize(configuration, Platform::native());
  auto pumpUntil = [&](const std::function<bool()>& done, double seconds) {
    return scheduler->runMainLoop(done, seconds);
  };

  if (kind == "upload") {
    const auto spool = platform::applicationSupportDirectory() / "obx.ombrix";
    auto spoolEmpty = [&] {
      std::error_code error;
      for (const auto& entry : std::filesystem::directory_iterator(spool, error)) {
        if (entry.is_directory() && entry.path().filename().string().find('_') != std::string::npos) return false;
      }
      return true;
    };
    return pumpUntil(spoolEmpty, 30.0) ? 0 : 1;
  }
  const bool ready = pumpUntil([&] { return disabled || core->feature(FeatureKey::kCrashReport) != nullptr; }, 20.0);
  if (!ready) return 3;
  std::shared_ptr<platform::Window> window;
  if (!beforeBatch) {
    window = std::make_shared<platform::Window>();
    window->setRootViewController(platform::NavigationController::make(std::make_shared<CrashingScreen>()));
    window->makeKeyAndVisible();
    const auto spool = platform::applicationSupportDirectory() / "obx.ombrix";
    // The screen is recorded once its first batch holds events.
    bool recorded = pumpUntil(
        [&] {
          auto batch = core->commonDependencies() ? core->commonDependencies()->batchCoordinator->batchContext()
                                                  : std::nullopt;
          std::error_code error;
          return batch && std::filesystem::file_size(spool / batch->id / batch->id, error) > 0 && !error;
        },
        20.0);
    if (!recorded) return 3;
    scheduler->runMainLoop([] { return false; }, 1.0);
  } else {
    scheduler->runMainLoop([] { return false; }, 0.5);
  }
  if (given("--host-handler-after")) installHostHandlers(true);
  if (given("--installed-file")) std::ofstream(root / "installed") << (signalHandlerInstalled() ? "1" : "0");

  std::fflush(nullptr);
  if (kind == "lock-other" || kind == "lock-self") {
    static StallingFiles stalling(kind == "lock-self");
    platform::installFileFaults(&stalling);
    core->commonDependencies()->trackedEvents->sendGoal("stall", std::nullopt);
    if (kind == "lock-self") {
      noteCrashing();
      pumpUntil([] { return false; }, 10.0);
      return 4;
    }
    if (!pumpUntil([&] { return stalling.entered(); }, 10.0)) return 9;
  }
  noteCrashing();
  return crash(kind == "lock-other" ? "segv" : kind, root);
}
