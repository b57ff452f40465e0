// The crash hooks in a child that really dies: what the raw record holds, how the process ends,
// and what becomes of the host's own handlers. The child is obx-crash-child with the platform's hooks
// alone; it names the addresses of its faulting functions, so that the first frame is checked
// against the function itself.
#include "platform/crash/crash_handlers.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "platform/crash/raw_crash_record.h"
#include "testing/run_command.h"

namespace obx::platform {
namespace {

void hostReturns(int) {}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

struct ChildEnd {
  int signal = 0;  // 0: it exited
  int code = -1;
  RawCrashFile file;
  std::size_t hostCalls = 0;
  std::map<std::string, std::uint64_t> functions;  // where each faulting function of the child starts
};

class CrashHandlersTest : public ::testing::Test {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer owns the signals of a faulting child";
#endif
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  // Runs obx-crash-child dying of `kind` under the hooks alone, with `options`, and reads what it left.
  ChildEnd run(const std::string& kind, const std::string& options = "") {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    // The shell gives 128 + the signal for a child that a signal ended.
    const int status = std::stoi("0" + testing::runCommand(std::string(OBX_CRASH_CHILD) + " " + kind + " " +
                                                           folder_.string() + " hooks " + options +
                                                           " >/dev/null; echo $?"));
    ChildEnd end;
    end.signal = status > 128 ? status - 128 : 0;
    end.code = status > 128 ? -1 : status;
    end.file = readRawCrashRecords(readFile(folder_ / "record.crash"));
    const std::string host = readFile(folder_ / "host-handler");
    end.hostCalls = static_cast<std::size_t>(std::count(host.begin(), host.end(), '\n'));
    std::istringstream functions(readFile(folder_ / "functions"));
    std::string name;
    for (std::uint64_t address; functions >> name >> address;) end.functions[name] = address;
    return end;
  }

  // The first frame lies in the child's `function`, a few bytes into it.
  static void expectFirstFrameIn(const ChildEnd& end, const RawCrashRecord& record, const std::string& function) {
    ASSERT_FALSE(record.frames.empty());
    ASSERT_TRUE(end.functions.count(function)) << function;
    EXPECT_GE(record.frames[0], end.functions.at(function));
    EXPECT_LT(record.frames[0], end.functions.at(function) + 64);
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("obx-crash-handlers-" + std::to_string(::getpid()));
};

// A null write is reported once, from the faulting function on, with its code, address and the
// snapshot, and the process ends by SIGSEGV; so does a stack overflow, on the alternate stack.
TEST_F(CrashHandlersTest, FaultIsRecordedAndTheProcessEndsByItsSignal) {
  const std::pair<const char*, const char*> cases[] = {{"segv", "obxCrashChildSegv"},
                                                       {"overflow", "obxCrashChildRecurse"}};
  for (const auto& [kind, function] : cases) {
    SCOPED_TRACE(kind);
    const ChildEnd end = run(kind);
    EXPECT_EQ(end.signal, SIGSEGV);
    EXPECT_EQ(end.file.tornRecords, 0);
    ASSERT_EQ(end.file.records.size(), 1u);
    const RawCrashRecord& record = end.file.records[0];
    EXPECT_EQ(record.kind, RawCrashRecord::Kind::signal);
    EXPECT_EQ(record.signal, SIGSEGV);
    EXPECT_EQ(record.code, SEGV_MAPERR);
    EXPECT_EQ(record.snapshots.at(1), "snapshot of the test");
    EXPECT_NE(record.maps.find("r-xp"), std::string::npos);
    expectFirstFrameIn(end, record, function);
    if (std::string(kind) == "segv") {
      EXPECT_EQ(record.address, 0u);
    }
  }
}

// The host's handler runs after the report; one that mends the fault keeps its process alive and
// the report is taken back. An uncaught exception leaves its type, its text and the stack from the
// thrower, then the SIGABRT that ends the process.
TEST_F(CrashHandlersTest, MendedFaultIsTakenBackAndExceptionIsRecordedBeforeTheAbort) {
  const ChildEnd mended = run("guarded", "--host-handler --host-mends");
  EXPECT_EQ(mended.signal, 0);
  EXPECT_EQ(mended.code, 4) << "the child lives on after its fault";
  EXPECT_EQ(mended.hostCalls, 1u);
  EXPECT_TRUE(mended.file.records.empty());

  const ChildEnd end = run("exception");
  EXPECT_EQ(end.signal, SIGABRT);
  ASSERT_EQ(end.file.records.size(), 2u);
  const RawCrashRecord& exception = end.file.records[0];
  EXPECT_EQ(exception.kind, RawCrashRecord::Kind::exception);
  EXPECT_EQ(exception.exceptionType, typeid(std::runtime_error).name());
  EXPECT_EQ(exception.exceptionWhat, "obx-crash-child: uncaught exception");
  expectFirstFrameIn(end, exception, "obxCrashChildThrow");
  EXPECT_EQ(end.file.records[1].signal, SIGABRT);
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
