// Crash capture on the manual scheduler: the crash core keeps the crashed batch in the crash
// snapshot, and the next start writes what a dead process's records report into its batches.
#include "crash/cr_core.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <fstream>

#include "crash/cr_feature.h"
#include "crash/cr_pending_reports.h"
#include "platform/crash/crash_handlers.h"
#include "platform/crash/crash_record_file.h"
#include "platform/crash/crash_snapshot_slots.h"
#include "platform/crash/raw_crash_record.h"
#include "platform/dispatch/manual_scheduler.h"
#include "session/crash_snapshot.h"
#include "testing/crash_slots.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"

namespace obx {
namespace {

using platform::RawCrashRecord;
using testing::ManualBatches;

// The bytes a crash handler writes for one crash, with the snapshots it copied.
std::string recordBytes(RawCrashRecord::Kind kind, int signal, double time,
                        const std::map<CrashSnapshot::Part, std::string>& snapshots, const std::string& what = "") {
  auto item = [](std::uint32_t tag, const std::string& bytes) {
    const std::uint32_t header[2] = {tag, static_cast<std::uint32_t>(bytes.size())};
    return std::string(reinterpret_cast<const char*>(header), sizeof(header)) + bytes;
  };
  RawCrashRecord::Begin begin;
  begin.kind = static_cast<std::uint32_t>(kind);
  begin.signal = signal;
  begin.seconds = static_cast<std::int64_t>(time);
  begin.nanoseconds = static_cast<std::int64_t>((time - static_cast<double>(begin.seconds)) * 1e9);
  std::string bytes = item(RawCrashRecord::kBegin, std::string(reinterpret_cast<const char*>(&begin), sizeof(begin)));
  const std::uint64_t frame = 0x1000;
  bytes += item(RawCrashRecord::kFrames, std::string(reinterpret_cast<const char*>(&frame), sizeof(frame)));
  if (!what.empty()) bytes += item(RawCrashRecord::kExceptionWhat, what);
  for (const auto& [part, snapshot] : snapshots) {
    const auto slot = static_cast<std::uint32_t>(part);
    bytes += item(RawCrashRecord::kSnapshot, std::string(reinterpret_cast<const char*>(&slot), sizeof(slot)) + snapshot);
  }
  return bytes + item(RawCrashRecord::kEnd, "");
}

class CRCoreTest : public ::testing::Test {
 protected:
  BatchContext batch(const std::string& screen) {
    return testing::Spool::batch(screen + "_1", scheduler_->clock().now(), screen);
  }

  // A crash record file as a dead process left it.
  void leave(const std::string& name, const std::string& bytes) {
    testing::writeBytes(CRCore::recordsFolder() / name, bytes);
  }

  std::vector<Crash> storedCrashes(const BatchContext& batch) {
    std::vector<Crash> crashes;
    for (const Json& crash : spool_.payloads(batch, "crash")) crashes.push_back(crash.get<Crash>());
    return crashes;
  }

  // The bytes `part` would leave in a crash record for `batch` and `events`.
  std::string snapshotOf(const BatchContext& batch, const std::vector<CrashSnapshot::EndEvent>& events = {},
                         CrashSnapshot::Part part = CrashSnapshot::Part::analytics) {
    CrashSnapshot::publish(part, batch, events);
    static char copy[platform::CrashSnapshotSlots::kCapacity];
    std::string bytes(copy, platform::CrashSnapshotSlots::copy(static_cast<std::size_t>(part), copy));
    CrashSnapshot::publish(part, std::nullopt);
    return bytes;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_};
  testing::LogCapture logs_;
  std::shared_ptr<ManualBatches> batches_ = std::make_shared<ManualBatches>(scheduler_);
};

// While the feature lives the hooks are in place and the crash snapshot holds the current batch:
// the one there at construction, each one after, none after the last ended. Teardown puts the
// host's handlers back, clears the snapshot and removes the unused record file.
TEST_F(CRCoreTest, SnapshotFollowsTheBatchUntilTeardown) {
  const BatchContext first = batch("A");
  const BatchContext second = batch("B");
  batches_->publish(first);
  scheduler_->runUntilIdle();
  auto feature = CRFeature::make(CRDependencies{nullptr, batches_}, scheduler_);
  ASSERT_TRUE(feature);
  EXPECT_TRUE(feature->core->installed());
  EXPECT_TRUE(platform::CrashHandlers::installed());
  scheduler_->runUntilIdle();

  const std::optional<BatchContext> steps[] = {first, second, std::nullopt, second};
  bool firstStep = true;
  for (const auto& step : steps) {
    if (!firstStep) batches_->publish(step);
    firstStep = false;
    scheduler_->runUntilIdle();
    auto snapshot = testing::crashSlot(CrashSnapshot::Part::crash);
    ASSERT_EQ(snapshot.has_value(), step.has_value());
    if (step) {
      EXPECT_EQ(snapshot->batch, *step);
    }
  }
  EXPECT_EQ(batches_->observerCount(), 1u);
  feature.reset();
  scheduler_->runUntilIdle();
  EXPECT_FALSE(platform::CrashHandlers::installed());
  EXPECT_FALSE(testing::crashSlot(CrashSnapshot::Part::crash));
  EXPECT_EQ(batches_->observerCount(), 0u);
  EXPECT_TRUE(std::filesystem::is_empty(CRCore::recordsFolder()));
}

// The next start writes each dead process's crash into its batch, then the events that close the
// crashed screen once, and removes the record: an uncaught exception gives two crash events; a
// torn record is dropped with a log line and blocks nothing else; a crash before any batch, and a
// file a running process still holds, write nothing.
TEST_F(CRCoreTest, NextStartWritesTheCrashesIntoTheirBatches) {
  const BatchContext crashed = batch("S");
  const BatchContext thrown = batch("T");
  const double time = scheduler_->clock().now() + 2.5;
  const std::vector<CrashSnapshot::EndEvent> end = {{EventType::samplingStatus, Json{{"replayDataStatus", 1}}},
                                                    {EventType::applicationEnd, Json("")},
                                                    {EventType::batchEnd, Json("")}};
  // The crashed screen had no image yet: it is owed its placeholder.
  const auto owed = CrashSnapshot::owedPlaceholder(PlaceholderReason::noVideo, Size{390, 844}, Size{195, 422});
  leave("1-segv.crash", recordBytes(RawCrashRecord::Kind::signal, SIGSEGV, time,
                                    {{CrashSnapshot::Part::crash, snapshotOf(crashed)},
                                     {CrashSnapshot::Part::analytics, snapshotOf(crashed, end)},
                                     {CrashSnapshot::Part::replay, snapshotOf(crashed, {owed}, CrashSnapshot::Part::replay)}}));
  const std::string exceptionRecord =
      recordBytes(RawCrashRecord::Kind::exception, 0, time, {{CrashSnapshot::Part::crash, snapshotOf(thrown)}},
                  "bad thing") +
      recordBytes(RawCrashRecord::Kind::signal, SIGABRT, time,
                  {{CrashSnapshot::Part::crash, snapshotOf(thrown)},
                   {CrashSnapshot::Part::analytics, snapshotOf(thrown, end)}});
  leave("2-exception.crash", exceptionRecord);
  const std::string torn = recordBytes(RawCrashRecord::Kind::signal, SIGBUS, time,
                                       {{CrashSnapshot::Part::crash, snapshotOf(crashed)}});
  leave("3-torn.crash", torn.substr(0, torn.size() - 4));
  leave("4-early.crash", recordBytes(RawCrashRecord::Kind::signal, SIGILL, time, {}));
  auto running = platform::CrashRecordFile::create(CRCore::recordsFolder());
  ASSERT_TRUE(running);
  std::ofstream(running->path(), std::ios::binary) << recordBytes(RawCrashRecord::Kind::signal, SIGFPE, time,
                                                                  {{CrashSnapshot::Part::crash, snapshotOf(crashed)}});

  EXPECT_EQ(CRPendingReports(spool_.dataController()).writeLeftBehind(CRCore::recordsFolder()), 3);

  const auto crashes = storedCrashes(crashed);
  ASSERT_EQ(crashes.size(), 1u);
  EXPECT_EQ(crashes[0].desc, "SIGSEGV");
  EXPECT_EQ(crashes[0].signal, SIGSEGV);
  EXPECT_EQ(crashes[0].time, static_cast<std::int64_t>(time));
  EXPECT_EQ(crashes[0].symbols.size(), 1u);
  EXPECT_EQ(spool_.types(crashed),
            (std::vector<std::string>{"crash", "image", "placeholder", "samplingStatus", "aE", "bE"}));
  const Json image = spool_.payloads(crashed, "image").at(0);
  EXPECT_EQ(image["name"], "0");
  EXPECT_EQ(image["width"], 195);
  EXPECT_EQ(image["height"], 422);
  const auto images = spool_.repository().images(crashed.id);
  ASSERT_EQ(images.size(), 1u);
  EXPECT_EQ(images[0].index, 0);
  EXPECT_EQ(images[0].data.substr(0, 2), "\xFF\xD8") << "the placeholder is a JPEG";
  EXPECT_TRUE(logs_.contains("Create placeholder 'No video could be recorded for this screen' -> ID: S", LogLevel::qa));
  // Offsets count from the screen's start to the crash.
  for (const Json& event : spool_.events(crashed)) EXPECT_EQ(event["o"], 2500);

  const auto exception = storedCrashes(thrown);
  ASSERT_EQ(exception.size(), 2u);
  EXPECT_EQ(exception[0].desc, "bad thing");
  EXPECT_EQ(exception[0].signal, 0);
  EXPECT_EQ(exception[1].desc, "SIGABRT");
  EXPECT_EQ(spool_.types(thrown), (std::vector<std::string>{"crash", "crash", "samplingStatus", "aE", "bE"}));

  EXPECT_TRUE(logs_.contains("Crash record torn in 3-torn.crash: 1 dropped")) << ::testing::PrintToString(logs_.messages());
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(CRCore::recordsFolder())) {
    left.push_back(entry.path().filename().string());
  }
  EXPECT_EQ(left, std::vector<std::string>{running->path().filename().string()});
}

// A crash that can't be written says what failed: the batch's folder, or the event itself.
TEST_F(CRCoreTest, FailedWriteLogsWhatFailed) {
  const BatchContext blocked = batch("C");
  // A file where the batch's folder would go.
  testing::writeBytes(spool_.sandbox().storeRoot() / blocked.id, "not a folder");
  BatchContext unreachable = batch("D");
  // A screen that started so long before the crash that the offset can't be written.
  unreachable.viewContext.dateScreen = -1e300;
  leave("1.crash", recordBytes(RawCrashRecord::Kind::signal, SIGSEGV, scheduler_->clock().now(),
                               {{CrashSnapshot::Part::crash, snapshotOf(blocked)}}));
  leave("2.crash", recordBytes(RawCrashRecord::Kind::signal, SIGSEGV, scheduler_->clock().now(),
                               {{CrashSnapshot::Part::crash, snapshotOf(unreachable)}}));
  EXPECT_EQ(CRPendingReports(spool_.dataController()).writeLeftBehind(CRCore::recordsFolder()), 0);
  const std::string folder = (spool_.sandbox().storeRoot() / blocked.id).string();
  EXPECT_TRUE(logs_.contains("Error creating directory: " + folder + ".", LogLevel::developer))
      << ::testing::PrintToString(logs_.messages());
  EXPECT_TRUE(logs_.contains("Error writing crash event: Invalid offset for event crash in screenID: D_1.",
                             LogLevel::developer))
      << ::testing::PrintToString(logs_.messages());
}

// The signal names of the report, and the empty text for a signal that is not one of the eight.
TEST(CrashHandlers, SignalNames) {
  const struct {
    int signal;
    const char* name;
  } cases[] = {{SIGILL, "SIGILL"}, {SIGTRAP, "SIGTRAP"}, {SIGABRT, "SIGABRT"}, {SIGFPE, "SIGFPE"},
               {SIGBUS, "SIGBUS"}, {SIGSEGV, "SIGSEGV"}, {SIGSYS, "SIGSYS"},   {SIGPIPE, "SIGPIPE"},
               {SIGTERM, ""},      {0, ""}};
  for (const auto& c : cases) EXPECT_STREQ(platform::CrashHandlers::signalName(c.signal), c.name) << c.signal;
  EXPECT_EQ(platform::CrashHandlers::signals().size(), 8u);
}

}  // namespace
}  // namespace obx
