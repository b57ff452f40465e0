// A host that records a screen really dies (obx-crash-child, a process of its own); its next run on
// the same sandbox, the same program as a user would start it again, turns the crash record into
// events and uploads them to the collector on 127.0.0.1.
#include <signal.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "../e2e/e2e_fixture.h"
#include "platform/crash/crash_handlers.h"
#include "store/store_test_support.h"
#include "testing/run_command.h"

namespace obx::e2e {
namespace {

struct ChildExit {
  bool signaled = false;
  int signal = 0;
  int code = 0;
};

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
    std::string command = std::string(OBX_CRASH_CHILD) + " " + kind + " " + root_.string() + " " + collector_->baseURL();
    for (const std::string& option : options) command += " " + option;
    // The shell gives 128 + the signal for a child that a signal ended.
    const int status = std::stoi("0" + testing::runCommand(command + " >/dev/null; echo $?"));
    return ChildExit{status > 128, status > 128 ? status - 128 : 0, status > 128 ? -1 : status};
  }

  // The next start of the same program sends the spool and ends cleanly.
  void uploadWithNextRun() {
    const ChildExit exit = runChild("upload");
    EXPECT_FALSE(exit.signaled) << "the uploading start died of signal " << exit.signal;
    EXPECT_EQ(exit.code, 0) << spooledBatches().size() << " batches left";
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

// The function a stack line names: "<index> <module> <address> <symbol> + <offset>".
std::string symbolOf(const std::string& line) {
  std::istringstream words(line);
  std::string index, module, address, symbol;
  words >> index >> module >> address >> symbol;
  return symbol;
}

struct CrashKind {
  const char* kind;
  int signal;               // the process ends by it; the last crash event carries it
  const char* function;     // the faulting function
  bool faultsInFunction;    // the first frame is `function` itself, not the C library's abort
  std::size_t crashes;
};

const CrashKind kKinds[] = {
    {"exception", SIGABRT, "obxCrashChildThrow", true, 2},
    {"segv", SIGSEGV, "obxCrashChildSegv", true, 1},
    {"abort", SIGABRT, "obxCrashChildAbort", false, 1},
    {"bus", SIGBUS, "obxCrashChildBus", true, 1},
    {"fpe", SIGFPE, "obxCrashChildFpe", true, 1},
    {"ill", SIGILL, "obxCrashChildIll", true, 1},
    {"trap", SIGTRAP, "obxCrashChildTrap", true, 1},
    {"sys", SIGSYS, "obxCrashChildSys", true, 1},
    {"overflow", SIGSEGV, "obxCrashChildRecurse", true, 1},
    {"thread", SIGSEGV, "obxCrashChildSegv", true, 1},
    {"two-threads", SIGSEGV, "obxCrashChildSegv", true, 1},
    // Another thread is stopped in the middle of the store's write; then the crashing thread is.
    {"lock-other", SIGSEGV, "obxCrashChildSegv", true, 1},
    {"lock-self", SIGSEGV, "obxCrashChildSegv", true, 1},
};

class CrashKindTest : public CrashEndToEndTest, public ::testing::WithParamInterface<CrashKind> {};

// Each kind of death ends the process by its own signal and leaves one report; the next start sends
// its crash events (description, signal, a stack that begins at the faulting function, whole
// seconds) and the screen's end events.
TEST_P(CrashKindTest, ReportArrivesWithTheNextStart) {
  const CrashKind& kind = GetParam();
  startCollector();
  const ChildExit exit = runChild(kind.kind, {"--installed-file"});
  ASSERT_TRUE(exit.signaled) << "exit code " << exit.code;
  EXPECT_EQ(exit.signal, kind.signal) << strsignal(exit.signal);
  EXPECT_EQ(testing::readBytes(root_ / "installed"), "1");
  ASSERT_EQ(spooledBatches().size(), 1u);

  uploadWithNextRun();
  const auto crashes = receivedCrashes();
  ASSERT_EQ(crashes.size(), kind.crashes);
  if (kind.crashes == 2) {
    EXPECT_EQ(crashes[0].signal, 0);
    EXPECT_EQ(crashes[0].desc, "obx-crash-child: uncaught exception");
  }
  EXPECT_EQ(crashes.back().signal, kind.signal);
  EXPECT_EQ(crashes.back().desc, platform::CrashHandlers::signalName(kind.signal));
  for (const Crash& crash : crashes) {
    ASSERT_FALSE(crash.symbols.empty());
    // Seconds since 1970, where every other event counts milliseconds.
    EXPECT_GT(crash.time, 1'600'000'000);
    EXPECT_LT(crash.time, 100'000'000'000);
    const bool named = std::any_of(crash.symbols.begin(), crash.symbols.end(), [&](const std::string& symbol) {
      return symbolOf(symbol) == kind.function;
    });
    EXPECT_TRUE(named) << kind.function << " not in the stack of " << crash.desc << ": "
                       << ::testing::PrintToString(crash.symbols);
    // No frame of the handler: the stack starts where the process faulted.
    for (const std::string& symbol : crash.symbols) EXPECT_EQ(symbol.find("obx::platform"), std::string::npos) << symbol;
  }
  if (kind.faultsInFunction) {
    EXPECT_EQ(symbolOf(crashes.front().symbols.front()), kind.function) << crashes.front().symbols.front();
  }
  // The analytics core's snapshot closed the screen: "samplingStatus" and "aE", once.
  const auto types = crashScreenTypes();
  EXPECT_EQ(std::count(types.begin(), types.end(), "screen"), 1);
  EXPECT_EQ(std::count(types.begin(), types.end(), "samplingStatus"), 1);
  ASSERT_FALSE(types.empty());
  EXPECT_EQ(types.back(), "aE");
}

INSTANTIATE_TEST_SUITE_P(Kinds, CrashKindTest, ::testing::ValuesIn(kKinds), [](const auto& info) {
  std::string name = info.param.kind;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

// The host's handlers keep working: one installed before the SDK runs after the report, with the
// original signal (an uncaught exception reaches its terminate handler, then its SIGABRT one); one
// installed after the SDK that chains to what it found still gets a report. The process ends by
// the signal it got.
TEST_F(CrashEndToEndTest, HostsHandlersAreStillCalled) {
  const struct {
    const char* kind;
    const char* option;
    int signal;
    const char* marker;
    std::size_t crashes;
  } cases[] = {
      {"segv", "--host-handler", SIGSEGV, "signal 11 11\n", 1},
      {"bus", "--host-handler", SIGBUS, "signal 7 7\n", 1},
      {"exception", "--host-handler", SIGABRT, "terminate\nsignal 6 6\n", 2},
      {"segv", "--host-handler-after", SIGSEGV, "signal 11 11\n", 1},
  };
  startCollector();
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + c.option);
    std::filesystem::remove(root_ / "host-handler");
    const ChildExit exit = runChild(c.kind, {c.option});
    EXPECT_TRUE(exit.signaled);
    EXPECT_EQ(exit.signal, c.signal);
    EXPECT_EQ(testing::readBytes(root_ / "host-handler"), c.marker);
  }
  uploadWithNextRun();
  ASSERT_TRUE(pumpUntil([&] { return collector_->screens().size() >= 4; }, 20.0));
  EXPECT_EQ(receivedCrashes().size(), 5u);
}

// A host that ignores SIGPIPE, as network programs do, survives a broken pipe with the SDK in; one
// that does not dies of it, reported.
TEST_F(CrashEndToEndTest, IgnoredSigpipeStaysIgnored) {
  startCollector();
  const ChildExit ignored = runChild("pipe", {"--ignore-sigpipe"});
  EXPECT_FALSE(ignored.signaled) << strsignal(ignored.signal);
  EXPECT_EQ(ignored.code, 0);
  const ChildExit unhandled = runChild("pipe");
  EXPECT_TRUE(unhandled.signaled);
  EXPECT_EQ(unhandled.signal, SIGPIPE);
  uploadWithNextRun();
  const auto crashes = receivedCrashes();
  ASSERT_EQ(crashes.size(), 1u);
  EXPECT_EQ(crashes[0].desc, "SIGPIPE");
}

// A crash before the first batch writes nothing; with crashReporterEnabled false no handler is
// installed, and the screen leaves without a crash event or an end. Both die of the signal itself.
TEST_F(CrashEndToEndTest, NoBatchOrNoFeatureWritesNoCrash) {
  startCollector();
  const ChildExit early = runChild("segv", {"--before-batch"});
  EXPECT_TRUE(early.signaled);
  EXPECT_EQ(early.signal, SIGSEGV);
  EXPECT_TRUE(spooledBatches().empty());
  const ChildExit disabled = runChild("segv", {"--disabled", "--installed-file"});
  EXPECT_EQ(disabled.signal, SIGSEGV);
  EXPECT_EQ(testing::readBytes(root_ / "installed"), "0");
  uploadWithNextRun();
  EXPECT_TRUE(receivedCrashes().empty());
  for (const auto& screen : collector_->screens()) {
    for (const auto& event : screen.body) EXPECT_NE(event.at("t"), "aE");
  }
}

}  // namespace
}  // namespace obx::e2e
