// obx-crash-child: a host application that records one screen with the SDK and then dies the way it
// is told, for the crash tests and scripts/crash_soak.sh. It is linked with its symbols exported, so
// that the stack of a report names the functions below.
//
//   obx-crash-child <exception|segv|abort|bus> <sandbox> <collector URL> [options]
//   obx-crash-child upload <sandbox> <collector URL>: the next run, which sends the spool and exits 0
//     (1 when something is left after 30 seconds)
//     --before-batch    crash once the crash feature is registered, before any screen
//     --disabled        crashReporterEnabled false
//     --host-handler    install the host's own handlers first; they write <sandbox>/host-handler
//     --host-handler-after  the same handlers, installed after the SDK; they end the process with 5
//     --installed-file  write <sandbox>/installed: "1" when a signal handler is in place at the crash
//
// Exit 3 when the SDK never got ready; otherwise the process ends by the crash.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "core/core.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"
#include "testing/fake_reachability.h"

namespace {

class CrashingScreen : public obx::platform::ViewController {};

std::string gHostMarker;
bool gExitAfterMarker = false;

// Writes with write(2) only: it runs inside a signal handler.
void writeHostMarker(const char* text) {
  int file = ::open(gHostMarker.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (file < 0) return;
  ssize_t ignored = ::write(file, text, std::strlen(text));
  (void)ignored;
  ::close(file);
}

void hostSignalHandler(int signal, siginfo_t* info, void*) {
  char line[64];
  std::snprintf(line, sizeof(line), "signal %d %d\n", signal, info ? info->si_signo : -1);
  writeHostMarker(line);
  if (gExitAfterMarker) ::_exit(5);
}

void hostTerminateHandler() {
  writeHostMarker("terminate\n");
  std::abort();
}

void installHostHandlers() {
  struct sigaction action {};
  action.sa_sigaction = hostSignalHandler;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  for (int signal : {SIGABRT, SIGBUS, SIGSEGV}) ::sigaction(signal, &action, nullptr);
  std::set_terminate(hostTerminateHandler);
}

bool signalHandlerInstalled() {
  struct sigaction current {};
  ::sigaction(SIGSEGV, nullptr, &current);
  if (current.sa_flags & SA_SIGINFO) return current.sa_sigaction != nullptr;
  return current.sa_handler != SIG_DFL;
}

}  // namespace

// The crashing functions, named in the reports' stacks.
extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildThrow() {
  throw std::runtime_error("obx-crash-child: uncaught exception");
}

// Through volatile pointers, so that the compiler neither drops the fault nor turns the call into a
// jump that leaves this function out of the stack.
int* volatile gNowhere = nullptr;
void (*volatile gAbort)() = std::abort;

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildSegv() {
  *gNowhere = 1;
  std::puts("still alive after the fault");
}

extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildAbort() {
  gAbort();
  std::puts("still alive after abort");
}

// A real SIGBUS: a shared mapping past the end of an empty file.
extern "C" __attribute__((noinline, visibility("default"))) void obxCrashChildBus(const char* path) {
  int file = ::open(path, O_RDWR | O_CREAT | O_TRUNC, 0644);
  if (file < 0) std::abort();
  auto* page = static_cast<volatile char*>(::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
  if (page == MAP_FAILED) std::abort();
  page[0] = 1;
}

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s <exception|segv|abort|bus> <sandbox> <collector URL> [options]\n", argv[0]);
    return 2;
  }
  const std::string kind = argv[1];
  const std::filesystem::path root = argv[2];
  const std::string url = argv[3];
  bool beforeBatch = false, disabled = false, hostHandler = false, hostHandlerAfter = false, installedFile = false;
  for (int index = 4; index < argc; ++index) {
    std::string option = argv[index];
    beforeBatch |= option == "--before-batch";
    disabled |= option == "--disabled";
    hostHandler |= option == "--host-handler";
    hostHandlerAfter |= option == "--host-handler-after";
    installedFile |= option == "--installed-file";
  }
  gHostMarker = (root / "host-handler").string();
  if (hostHandler) installHostHandlers();

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
  if (hostHandlerAfter) {
    gExitAfterMarker = true;
    installHostHandlers();
  }
  if (installedFile) std::ofstream(root / "installed") << (signalHandlerInstalled() ? "1" : "0");

  std::fflush(nullptr);
  if (kind == "exception") obxCrashChildThrow();
  if (kind == "segv") obxCrashChildSegv();
  if (kind == "abort") obxCrashChildAbort();
  if (kind == "bus") obxCrashChildBus((root / "bus-file").c_str());
  return 4;
}
