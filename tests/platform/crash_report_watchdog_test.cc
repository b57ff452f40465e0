// A crash report that never returns must not leave the process hung: the handlers give it up and
// end the process. Each case runs in a forked child that installs the hooks and dies.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/crash/crash_handlers.h"

namespace obx::platform {
namespace {

std::string gMarker;

// Notes that the report began (with write(2): it runs inside a signal handler), then waits for
// ever, as a report stuck on a lock the crashed thread held would.
void hangingReporter(const CrashReport&) {
  int file = ::open(gMarker.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (file >= 0) {
    ssize_t ignored = ::write(file, "reporting", 9);
    (void)ignored;
    ::close(file);
  }
  for (;;) ::pause();
}

struct ChildEnd {
  bool ended = false;
  int signal = 0;
};

// Waits up to `seconds` for the child; a child still running then is killed and counts as hung.
ChildEnd waitFor(pid_t child, double seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  int status = 0;
  while (std::chrono::steady_clock::now() < deadline) {
    if (::waitpid(child, &status, WNOHANG) == child) return {true, WIFSIGNALED(status) ? WTERMSIG(status) : 0};
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ::kill(child, SIGKILL);
  ::waitpid(child, &status, 0);
  return {false, 0};
}

TEST(CrashReportWatchdogTest, HungReportEndsTheProcess) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer owns the signals of a faulting child";
#endif
  struct Case {
    const char* name;
    void (*die)();
  };
  const Case cases[] = {
      {"fatal signal", [] { ::raise(SIGSEGV); }},
      {"uncaught exception", [] { std::terminate(); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    gMarker = (std::filesystem::temp_directory_path() /
               ("obx-watchdog-" + std::to_string(::getpid()) + "-" + c.name[0] + ".txt"))
                  .string();
    std::filesystem::remove(gMarker);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      CrashHandlers::install(hangingReporter);
      c.die();
      ::_exit(0);
    }
    // Generous: the report is given up after 3 seconds.
    const ChildEnd end = waitFor(child, 30.0);
    EXPECT_TRUE(std::filesystem::exists(gMarker)) << "the report never began";
    EXPECT_TRUE(end.ended) << "the process hung in its report";
    EXPECT_EQ(end.signal, SIGKILL);
    std::filesystem::remove(gMarker);
  }
}

}  // namespace
}  // namespace obx::platform
