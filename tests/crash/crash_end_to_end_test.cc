// A host that records a screen really dies (obx-crash-child, a process of its own); the next run of
// the SDK on the same sandbox uploads what the dying process wrote, to the collector on 127.0.0.1.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "../e2e/e2e_fixture.h"

namespace obx::e2e {
namespace {

struct ChildExit {
  bool signaled = false;
  int signal = 0;
  int code = 0;
};

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

class CrashEndToEndTest : public EndToEndTest {
 protected:
  // The sanitizers take a child's deliberate fault for one of their own reports and end it their
  // way, so these run in plain builds only; the crash core's own tests run everywhere.
  void SetUp() override {
    EndToEndTest::SetUp();
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer owns the signals of a faulting child";
#endif
  }

  // Runs obx-crash-child on this test's sandbox and waits for its end.
  ChildExit runChild(const std::string& kind, const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {OBX_CRASH_CHILD, kind, root_.string(), collector_->baseURL()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = ::fork();
    if (child == 0) {
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    ChildExit result;
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) return result;
    result.signaled = WIFSIGNALED(status);
    result.signal = result.signaled ? WTERMSIG(status) : 0;
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
  }

  // Starts the next run and waits until the spool has left for the collector.
  void uploadWithNextRun() {
    startSDK();
    ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty() && !collector_->screens().empty(); }, 30.0))
        << spooledBatches().size() << " batches left";
  }

  std::vector<Crash> receivedCrashes() const {
    std::vector<Crash> crashes;
    for (const auto& screen : collector_->screens()) {
      for (const auto& event : screen.events) {
        if (const auto* crash = std::get_if<Crash>(&event.data)) crashes.push_back(*crash);
      }
    }
    return crashes;
  }

  // The types of the screen that holds a crash, in the order they arrived.
  std::vector<std::string> crashScreenTypes() const {
    for (const auto& screen : collector_->screens()) {
      std::vector<std::string> types;
      bool crashed = false;
      for (const auto& event : screen.body) {
        types.push_back(event.at("t").get<std::string>());
        crashed = crashed || types.back() == "crash";
      }
      if (crashed) return types;
    }
    return {};
  }
};

struct CrashKind {
  const char* kind;
  int signal;                  // of the last crash event
  const char* description;     // of the last crash event
  const char* function;        // named in the stack of the first crash event
  std::size_t crashes;
};

const CrashKind kKinds[] = {
    {"exception", SIGABRT, "SIGABRT", "obxCrashChildThrow", 2},
    {"segv", SIGSEGV, "SIGSEGV", "obxCrashChildSegv", 1},
    {"abort", SIGABRT, "SIGABRT", "obxCrashChildAbort", 1},
    {"bus", SIGBUS, "SIGBUS", "obxCrashChildBus", 1},
};

class CrashKindTest : public CrashEndToEndTest, public ::testing::WithParamInterface<CrashKind> {};

// Each kind of death leaves its crash events (description, signal, a stack that names the crashing
// function, whole seconds) and the screen's end events, and they leave with the next run; the
// process ends by the SDK's SIGKILL, not by the default action.
TEST_P(CrashKindTest, CrashEventsAndScreenEndArriveWithTheNextRun) {
  const CrashKind& kind = GetParam();
  startCollector();
  const ChildExit exit = runChild(kind.kind, {"--installed-file"});
  ASSERT_TRUE(exit.signaled) << "exit code " << exit.code;
  EXPECT_EQ(exit.signal, SIGKILL);
  EXPECT_EQ(readFile(root_ / "installed"), "1");
  ASSERT_EQ(spooledBatches().size(), 1u);

  uploadWithNextRun();
  const auto crashes = receivedCrashes();
  ASSERT_EQ(crashes.size(), kind.crashes);
  if (kind.crashes == 2) {
    EXPECT_EQ(crashes[0].signal, 0);
    EXPECT_EQ(crashes[0].desc, "obx-crash-child: uncaught exception");
  }
  EXPECT_EQ(crashes.back().signal, kind.signal);
  EXPECT_EQ(crashes.back().desc, kind.description);
  for (const Crash& crash : crashes) {
    EXPECT_FALSE(crash.symbols.empty());
    // Seconds since 1970, where every other event counts milliseconds.
    EXPECT_GT(crash.time, 1'600'000'000);
    EXPECT_LT(crash.time, 100'000'000'000);
    const bool named = std::any_of(crash.symbols.begin(), crash.symbols.end(), [&](const std::string& symbol) {
      return symbol.find(kind.function) != std::string::npos;
    });
    EXPECT_TRUE(named) << kind.function << " not in the stack of " << crash.desc;
  }
  // The analytics core closed the screen on the crashing thread: "samplingStatus" and "aE", once.
  const auto types = crashScreenTypes();
  EXPECT_EQ(std::count(types.begin(), types.end(), "screen"), 1);
  EXPECT_EQ(std::count(types.begin(), types.end(), "samplingStatus"), 1);
  ASSERT_FALSE(types.empty());
  EXPECT_EQ(types.back(), "aE");
}

INSTANTIATE_TEST_SUITE_P(Kinds, CrashKindTest, ::testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.kind); });

// A handler the host installed before the SDK is still called, after the SDK's report, with the
// original signal; an uncaught exception reaches the host's terminate handler, then its SIGABRT one.
TEST_F(CrashEndToEndTest, HostsEarlierHandlersAreStillCalled) {
  const struct {
    const char* kind;
    const char* marker;
    std::size_t crashes;
  } cases[] = {
      {"segv", "signal 11 11\n", 1},
      {"bus", "signal 7 7\n", 1},
      {"exception", "terminate\nsignal 6 6\n", 2},
  };
  startCollector();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    std::filesystem::remove(root_ / "host-handler");
    const ChildExit exit = runChild(c.kind, {"--host-handler"});
    EXPECT_TRUE(exit.signaled);
    EXPECT_EQ(exit.signal, SIGKILL);
    EXPECT_EQ(readFile(root_ / "host-handler"), c.marker);
  }
  uploadWithNextRun();
  ASSERT_TRUE(pumpUntil([&] { return collector_->screens().size() >= 3; }, 20.0));
  EXPECT_EQ(receivedCrashes().size(), 4u);
}

// A signal handler the host installs after the SDK replaces the SDK's: the host's runs, the SDK
// writes no crash and the screen leaves without its end.
TEST_F(CrashEndToEndTest, HostHandlerInstalledAfterTheSDKIsNotAffected) {
  startCollector();
  const ChildExit exit = runChild("segv", {"--host-handler-after"});
  EXPECT_FALSE(exit.signaled);
  EXPECT_EQ(exit.code, 5);
  EXPECT_EQ(readFile(root_ / "host-handler"), "signal 11 11\n");
  uploadWithNextRun();
  EXPECT_TRUE(receivedCrashes().empty());
}

// A crash before the first batch writes nothing: the hooks ran (SIGKILL), the spool holds no batch.
TEST_F(CrashEndToEndTest, CrashBeforeTheFirstBatchWritesNothing) {
  startCollector();
  const ChildExit exit = runChild("segv", {"--before-batch"});
  EXPECT_TRUE(exit.signaled);
  EXPECT_EQ(exit.signal, SIGKILL);
  EXPECT_TRUE(spooledBatches().empty());
  startSDK();
  pump(4.5);
  EXPECT_TRUE(collector_->screens().empty());
}

// With crashReporterEnabled false no handler is installed: the process dies of the signal itself,
// and the screen leaves without a crash event or an end.
TEST_F(CrashEndToEndTest, DisabledInstallsNoHandler) {
  startCollector();
  const ChildExit exit = runChild("segv", {"--disabled", "--installed-file"});
  EXPECT_TRUE(exit.signaled);
  EXPECT_EQ(exit.signal, SIGSEGV);
  EXPECT_EQ(readFile(root_ / "installed"), "0");
  uploadWithNextRun();
  EXPECT_TRUE(receivedCrashes().empty());
  for (const auto& screen : collector_->screens()) {
    for (const auto& event : screen.body) EXPECT_NE(event.at("t"), "aE");
  }
}

}  // namespace
}  // namespace obx::e2e
