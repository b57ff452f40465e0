// The crash hooks in forked children that really die: what the raw record holds, how the process
// ends, and what becomes of the host's own handlers. A forked child has the parent's addresses, so
// the parent checks the first frame against the faulting function itself.
#include "platform/crash/crash_handlers.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/crash/alternate_signal_stack.h"
#include "platform/crash/crash_snapshot_slots.h"
#include "platform/crash/raw_crash_record.h"

namespace obx::platform {
namespace {

int* volatile gNowhere = nullptr;
volatile int gSink = 0;
char* gPage = nullptr;
int gHostCalls = -1;

__attribute__((noinline)) void writeThroughNull() { *gNowhere = 1; }
__attribute__((noinline)) void writeToPage() { gPage[0] = 1; }
__attribute__((noinline)) int recurse(int depth) {
  volatile char pad[512];
  pad[depth % 512] = static_cast<char>(depth);
  if (depth == gSink - 1) return 0;
  return recurse(depth + 1) + pad[(depth + 1) % 512];
}
__attribute__((noinline)) void throwUncaught() { throw std::runtime_error("thrown for the test"); }

void countHostCall() {
  char byte = 1;
  ssize_t ignored = ::write(gHostCalls, &byte, 1);
  (void)ignored;
}
void hostReturns(int) { countHostCall(); }
void hostMendsThePage(int) {
  countHostCall();
  ::mprotect(gPage, 4096, PROT_READ | PROT_WRITE);
}
void installHost(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGSEGV, &action, nullptr);
}

struct ChildEnd {
  int signal = 0;  // 0: it exited
  int code = -1;
  RawCrashFile file;
  std::size_t hostCalls = 0;
};

class CrashHandlersTest : public ::testing::Test {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer owns the signals of a faulting child";
#endif
  }
  void TearDown() override { std::filesystem::remove(path_); }

  // Forks; the child runs `setUp`, installs the hooks writing to this test's file, publishes a
  // snapshot and runs `die`, then exits 0 if it still lives.
  ChildEnd run(const std::function<void()>& setUp, const std::function<void()>& die) {
    std::filesystem::remove(path_);
    int calls[2];
    if (::pipe(calls) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(calls[0]);
      gHostCalls = calls[1];
      setUp();
      int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      CrashHandlers::install(file);
      CrashSnapshotSlots::publish(1, "snapshot of the test");
      die();
      ::_exit(0);
    }
    ::close(calls[1]);
    ChildEnd end;
    int status = 0;
    ::waitpid(child, &status, 0);
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    end.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    char byte;
    while (::read(calls[0], &byte, 1) == 1) ++end.hostCalls;
    ::close(calls[0]);
    std::ifstream in(path_, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    end.file = readRawCrashRecords(bytes.str());
    return end;
  }

  // The first frame lies in `function`, a few bytes into it.
  static void expectFirstFrameIn(const RawCrashRecord& record, const void* function) {
    ASSERT_FALSE(record.frames.empty());
    const auto start = reinterpret_cast<std::uint64_t>(function);
    EXPECT_GE(record.frames[0], start);
    EXPECT_LT(record.frames[0], start + 64);
  }

  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("obx-crash-handlers-" + std::to_string(::getpid()) + ".crash");
};

// A null write is reported once, from the faulting function on, with its code, address and the
// snapshot, and the process ends by SIGSEGV; so does a stack overflow, on the alternate stack.
TEST_F(CrashHandlersTest, FaultIsRecordedAndTheProcessEndsByItsSignal) {
  const struct {
    const char* name;
    std::function<void()> die;
    const void* function;
  } cases[] = {
      {"null write", [] { writeThroughNull(); }, reinterpret_cast<const void*>(&writeThroughNull)},
      {"stack overflow", [] { gSink = recurse(0); }, reinterpret_cast<const void*>(&recurse)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ChildEnd end = run([] { AlternateSignalStack::ensureForCurrentThread(); }, c.die);
    EXPECT_EQ(end.signal, SIGSEGV);
    EXPECT_EQ(end.file.tornRecords, 0);
    ASSERT_EQ(end.file.records.size(), 1u);
    const RawCrashRecord& record = end.file.records[0];
    EXPECT_EQ(record.kind, RawCrashRecord::Kind::signal);
    EXPECT_EQ(record.signal, SIGSEGV);
    EXPECT_EQ(record.code, SEGV_MAPERR);
    EXPECT_EQ(record.snapshots.at(1), "snapshot of the test");
    EXPECT_NE(record.maps.find("r-xp"), std::string::npos);
    expectFirstFrameIn(record, c.function);
    if (std::string(c.name) == "null write") {
      EXPECT_EQ(record.address, 0u);
    }
  }
}

// The host's handler runs after the report. One that mends the fault keeps its process alive and
// the report is taken back; one that only returns sees the fault once, and the process ends by it.
TEST_F(CrashHandlersTest, HostHandlerThatRecoversKeepsTheProcess) {
  auto pageOfNoAccess = [] {
    gPage = static_cast<char*>(::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  };
  const ChildEnd mended = run([&] { pageOfNoAccess(), installHost(hostMendsThePage); }, [] { writeToPage(); });
  EXPECT_EQ(mended.signal, 0);
  EXPECT_EQ(mended.code, 0);
  EXPECT_EQ(mended.hostCalls, 1u);
  EXPECT_TRUE(mended.file.records.empty());

  const ChildEnd returned = run([&] { pageOfNoAccess(), installHost(hostReturns); }, [] { writeToPage(); });
  EXPECT_EQ(returned.signal, SIGSEGV);
  EXPECT_EQ(returned.hostCalls, 1u);
  ASSERT_EQ(returned.file.records.size(), 1u);
  expectFirstFrameIn(returned.file.records[0], reinterpret_cast<const void*>(&writeToPage));
}

// Two threads that fault together leave one report, and the process ends by SIGSEGV.
TEST_F(CrashHandlersTest, TwoThreadsCrashingAtOnceReportOnce) {
  const ChildEnd end = run([] {}, [] {
    std::atomic<int> ready{0};
    auto both = [&ready] {
      ready.fetch_add(1);
      while (ready.load() < 2) {
      }
      writeThroughNull();
    };
    std::thread first(both), second(both);
    first.join();
    second.join();
  });
  EXPECT_EQ(end.signal, SIGSEGV);
  EXPECT_EQ(end.file.records.size(), 1u);
}

// An uncaught exception leaves its type, its text and the stack from the thrower, then the SIGABRT
// that ends the process.
TEST_F(CrashHandlersTest, UncaughtExceptionThenAbort) {
  // On a thread of its own: the test framework would catch it on this one.
  const ChildEnd end = run([] {}, [] { std::thread(throwUncaught).join(); });
  EXPECT_EQ(end.signal, SIGABRT);
  ASSERT_EQ(end.file.records.size(), 2u);
  const RawCrashRecord& exception = end.file.records[0];
  EXPECT_EQ(exception.kind, RawCrashRecord::Kind::exception);
  EXPECT_EQ(exception.exceptionType, typeid(std::runtime_error).name());
  EXPECT_EQ(exception.exceptionWhat, "thrown for the test");
  expectFirstFrameIn(exception, reinterpret_cast<const void*>(&throwUncaught));
  EXPECT_EQ(end.file.records[1].signal, SIGABRT);
}

// A broken pipe in a host that ignores SIGPIPE is no crash: the handler is not installed over it.
TEST_F(CrashHandlersTest, IgnoredSignalStaysIgnored) {
  const ChildEnd end = run([] { ::signal(SIGPIPE, SIG_IGN); }, [] {
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(3);
    ::close(ends[0]);
    if (::write(ends[1], "x", 1) >= 0 || errno != EPIPE) ::_exit(4);
  });
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(end.code, 0);
  EXPECT_TRUE(end.file.records.empty());
}

// Uninstalling puts back what the host had (a handler, an ignored signal, the default) and leaves a
// handler the host installed after the hooks.
TEST_F(CrashHandlersTest, UninstallRestoresThePreviousActions) {
  struct sigaction saved[3];
  const int signals[3] = {SIGBUS, SIGPIPE, SIGTRAP};
  for (int index = 0; index < 3; ++index) ::sigaction(signals[index], nullptr, &saved[index]);
  struct sigaction host {};
  host.sa_handler = hostReturns;
  sigemptyset(&host.sa_mask);
  ::sigaction(SIGBUS, &host, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGTRAP, SIG_DFL);
  struct sigaction segvBefore {};
  ::sigaction(SIGSEGV, nullptr, &segvBefore);

  ASSERT_TRUE(CrashHandlers::install(-1));
  EXPECT_FALSE(CrashHandlers::install(-1));
  struct sigaction current {};
  ::sigaction(SIGPIPE, nullptr, &current);
  EXPECT_EQ(current.sa_handler, SIG_IGN);
  ::sigaction(SIGTRAP, nullptr, &current);
  EXPECT_TRUE(current.sa_flags & SA_ONSTACK);
  // The host takes SIGSEGV back after the hooks: it keeps it.
  ::sigaction(SIGSEGV, &segvBefore, nullptr);
  CrashHandlers::uninstall();
  EXPECT_FALSE(CrashHandlers::installed());

  ::sigaction(SIGBUS, nullptr, &current);
  EXPECT_EQ(current.sa_handler, hostReturns);
  ::sigaction(SIGPIPE, nullptr, &current);
  EXPECT_EQ(current.sa_handler, SIG_IGN);
  ::sigaction(SIGTRAP, nullptr, &current);
  EXPECT_EQ(current.sa_handler, SIG_DFL);
  ::sigaction(SIGSEGV, nullptr, &current);
  EXPECT_EQ(current.sa_handler, segvBefore.sa_handler);
  for (int index = 0; index < 3; ++index) ::sigaction(signals[index], &saved[index], nullptr);
}

// A record cut by the death it describes, or by the disk, is torn: whole records before it stay.
TEST(RawCrashRecordTest, TornRecordsAreCounted) {
  auto item = [](std::uint32_t tag, const std::string& bytes) {
    const std::uint32_t header[2] = {tag, static_cast<std::uint32_t>(bytes.size())};
    return std::string(reinterpret_cast<const char*>(header), sizeof(header)) + bytes;
  };
  RawCrashRecord::Begin begin;
  begin.kind = 1;
  begin.signal = SIGBUS;
  const std::string whole = item(RawCrashRecord::kBegin, std::string(reinterpret_cast<const char*>(&begin),
                                                                      sizeof(begin))) +
                            item(RawCrashRecord::kEnd, "");
  const struct {
    std::string bytes;
    std::size_t records;
    int torn;
  } cases[] = {
      {whole, 1, 0},
      {whole + whole.substr(0, whole.size() - 3), 1, 1},
      {whole.substr(0, whole.size() - 8) + whole, 1, 1},
      {whole.substr(0, 5), 0, 1},
      {"", 0, 0},
  };
  for (const auto& c : cases) {
    const RawCrashFile file = readRawCrashRecords(c.bytes);
    EXPECT_EQ(file.records.size(), c.records) << c.bytes.size();
    EXPECT_EQ(file.tornRecords, c.torn) << c.bytes.size();
    for (const auto& record : file.records) EXPECT_EQ(record.signal, SIGBUS);
  }
}

}  // namespace
}  // namespace obx::platform
