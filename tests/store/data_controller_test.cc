#include "store/data_controller.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/manual_scheduler.h"
#include "store/files/file_reader.h"
#include "store/files/security.h"
#include "store_test_support.h"
#include "testing/log_capture.h"
#include "testing/spool.h"

namespace obx {
namespace {

using testing::readBytes;
using testing::writeBytes;

// Footprints handed out one per call; the last one repeats.
class ScriptedFootprint final : public MemoryFootprintProviding {
 public:
  double memoryFootprintMiB() const override {
    double value = values.empty() ? 0 : values[std::min(calls, values.size() - 1)];
    ++calls;
    return value;
  }
  std::vector<double> values{100.0};
  mutable std::size_t calls = 0;
};

class DataControllerTest : public ::testing::Test {
 protected:
  static constexpr double kPhysicalMemoryMiB = 1100.0;  // ceiling 500 MiB

  static BatchContext batch(const std::string& id, platform::Date dateScreen) {
    return testing::Spool::batch(id, dateScreen);
  }

  std::filesystem::path batchFolder(const std::string& id) const { return spool_.sandbox().storeRoot() / id; }

  std::vector<std::string> storedBlocks(const std::string& id) const {
    FileReader reader(std::make_shared<Security>());
    Directory directory;
    directory.url = batchFolder(id);
    return reader.read(directory, id).value_or(std::vector<std::string>{});
  }

  std::vector<std::string> names(const std::vector<Repository::DirectoryDate>& batches) const {
    std::vector<std::string> out;
    for (const auto& batch : batches) out.push_back(batch.directory.name());
    return out;
  }

  void saveImages(const std::string& id, const std::vector<int>& indexes) {
    for (int index : indexes) {
      controller_.saveImage(Image{index, "jpeg-" + std::to_string(index), 1000 + index}, batch(id, now()));
    }
    scheduler_->runUntilIdle();
  }

  platform::Date now() const { return scheduler_->now(); }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  std::shared_ptr<ScriptedFootprint> footprint_ = std::make_shared<ScriptedFootprint>();
  testing::Spool spool_{
      scheduler_,
      testing::Spool::Options().withPlatform(Platform{}).withFootprint(footprint_).withPhysicalMemory(kPhysicalMemoryMiB)};
  DataController& controller_ = *spool_.dataController();
};

// saveEventNow has its block and the date file on disk when it returns, with nothing left queued; the
// date file holds the clock's date at the first write and is never rewritten.
TEST_F(DataControllerTest, SaveEventNowWritesBeforeReturning) {
  const auto context = batch("S_1", now() - 1.25);
  EXPECT_FALSE(controller_.saveEventNow(EventType::crash, now(), Crash{1, "boom", 6, {"a/b"}}, context).has_value());
  EXPECT_EQ(storedBlocks("S_1"),
            std::vector<std::string>{R"({"t":"crash","o":1250,"d":{"time":1,"desc":"boom","signal":6,"symbols":["a/b"]}})"});
  // 2026-01-01 00:00:00 UTC is 788918400 seconds after 2001-01-01.
  EXPECT_EQ(readBytes(batchFolder("S_1") / ".date.dat"), "788918400");
  EXPECT_EQ(scheduler_->runUntilIdle(), 0u);
  EXPECT_TRUE(logs_.contains("Save event crash in screenID: S_1", LogLevel::developer));

  scheduler_->advance(0.5);
  controller_.saveEvent(EventType::batchEnd, now(), std::string("y"), context);
  scheduler_->runUntilIdle();
  EXPECT_EQ(Repository::readDateFile(batchFolder("S_1")), platform::ManualClock::kDefaultStart);
  EXPECT_EQ(Repository::encodeDate(platform::ManualClock::kDefaultStart + 0.25), "788918400.25");
}

// saveEvent writes nothing until the read-write queue runs, then appends in call order; a read
// through the repository waits for the writes queued before it.
TEST_F(DataControllerTest, SaveEventIsQueued) {
  const auto context = batch("S_1", now());
  controller_.saveEvent(EventType::applicationEnd, now(), std::string("end"), context);
  controller_.saveEvent(EventType::batchEnd, now() + 0.5, std::string("S_1"), context);
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1") / "S_1") &&
               std::filesystem::file_size(batchFolder("S_1") / "S_1") > 0);
  scheduler_->runUntilIdle();
  EXPECT_EQ(storedBlocks("S_1"), (std::vector<std::string>{R"({"t":"aE","o":0,"d":"end"})",
                                                            R"({"t":"bE","o":500,"d":"S_1"})"}));
  EXPECT_TRUE(std::filesystem::exists(batchFolder("S_1") / ".date.dat"));

  for (int i = 0; i < 2; ++i) controller_.saveEvent(EventType::imagePlaceholder, now() + i, i % 2 == 0, context);
  EXPECT_EQ(spool_.repository().events("S_1"),
            (std::vector<std::string>{R"({"t":"aE","o":0,"d":"end"})", R"({"t":"bE","o":500,"d":"S_1"})",
                                      R"({"t":"placeholder","o":0,"d":true})", R"({"t":"placeholder","o":1000,"d":false})"}));
}

// Offsets are whole milliseconds from the screen's date, truncated toward zero; offsets that
// can't be represented are refused.
TEST_F(DataControllerTest, Offsets) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    double event, screen;
    std::optional<std::int64_t> expected;
  };
  const std::vector<Case> cases = {
      {1000.75, 1000.0, 750},
      {999.25, 1000.0, -750},
      {1000.0004, 1000.0, 0},
      {999.9996, 1000.0, 0},
      {1000.0, 1000.0, 0},
      {9.2e15, 0.0, 9200000000000000000},
      {-9.2e15, 0.0, -9200000000000000000},
      {9.3e15, 0.0, std::nullopt},
      {-9.3e15, 0.0, std::nullopt},
      {inf, 0.0, std::nullopt},
      {0.0, inf, std::nullopt},
      {std::nan(""), 0.0, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(DataController::offset(c.event, c.screen), c.expected) << c.event;
}

// An event whose offset can't be represented is refused: an error, a log line, nothing on disk; so is
// one that can't be encoded.
TEST_F(DataControllerTest, InvalidOffsetOrEncodingIsRejected) {
  const auto context = batch("S_1", -std::numeric_limits<double>::infinity());
  auto queued = controller_.saveEvent(EventType::idle, now(), Idle{1, 2}, context);
  auto immediate = controller_.saveEventNow(EventType::idle, now(), Idle{1, 2}, context);
  scheduler_->runUntilIdle();
  ASSERT_TRUE(queued.has_value());
  ASSERT_TRUE(immediate.has_value());
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1")));
  EXPECT_TRUE(logs_.contains("Invalid offset for event idle in screenID: S_1", LogLevel::developer));
  EXPECT_FALSE(logs_.contains("Save event idle in screenID: S_1"));

  Performance performance;
  performance.memory = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(controller_.saveEvent(EventType::performance, now(), performance, batch("S_1", now())).has_value());
  scheduler_->runUntilIdle();
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1")));
}

// A batch whose date file was left empty (a process killed while writing it) gets its date at the
// next write and expires like any other; the date is written whole, with no temporary left beside it.
TEST_F(DataControllerTest, EmptyDateFileIsRepairedAndExpires) {
  writeBytes(batchFolder("S_1") / ".date.dat", "");
  controller_.saveEvent(EventType::batchEnd, now(), std::string("x"), batch("S_1", now()));
  scheduler_->runUntilIdle();
  EXPECT_EQ(readBytes(batchFolder("S_1") / ".date.dat"), "788918400");
  std::vector<std::string> entries;
  for (const auto& entry : std::filesystem::directory_iterator(batchFolder("S_1"))) {
    entries.push_back(entry.path().filename().string());
  }
  std::sort(entries.begin(), entries.end());
  EXPECT_EQ(entries, (std::vector<std::string>{".date.dat", "S_1"}));

  scheduler_->advance(spool_.configuration()->common().maxTimeFileSaved + 1.0);
  EXPECT_TRUE(controller_.readyBatches(std::nullopt).empty());
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1")));
}

// The session logs' folder is never taken for a batch: the log stays beside the batches until it is
// older than maxTimeFileSaved, counted from the first pass that saw it.
TEST_F(DataControllerTest, SessionLogsAreNoBatch) {
  const auto logFile = spool_.sandbox().storeRoot() / "obx.ombrix.zips" / "SESSION_LEAD" / "SESSION";
  writeBytes(logFile, "<OmbrixOBX 2026-01-01 00:00:00>: a line\n");
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("a"), batch("A_1", now()));
  scheduler_->advance(3.0);
  EXPECT_EQ(names(controller_.readyBatches(std::nullopt)), (std::vector<std::string>{"A_1"}));
  EXPECT_EQ(readBytes(logFile), "<OmbrixOBX 2026-01-01 00:00:00>: a line\n");

  scheduler_->advance(spool_.configuration()->common().maxTimeFileSaved);
  controller_.readyBatches(std::nullopt);
  EXPECT_TRUE(std::filesystem::exists(logFile));
  scheduler_->advance(4.0);
  EXPECT_TRUE(controller_.readyBatches(std::nullopt).empty());
  EXPECT_FALSE(std::filesystem::exists(logFile.parent_path()));
  EXPECT_TRUE(std::filesystem::exists(spool_.sandbox().storeRoot() / "obx.ombrix.zips"));
}

// Ready batches leave out the current batch, hidden folders and folders dataIntegrityBatchDelay
// (2.0) seconds old or younger; a folder without a date file counts as 3.0 seconds old and never expires; folders older
// than maxTimeFileSaved are deleted, and one exactly that old is kept.
TEST_F(DataControllerTest, ReadyBatches) {
  const platform::Date start = now();
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("a"), batch("A_1", start));
  scheduler_->advance(1.0);
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("b"), batch("B_1", start));
  scheduler_->advance(0.5);
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("c"), batch("C_1", start));
  std::filesystem::create_directories(spool_.sandbox().storeRoot() / "Undated_1");
  std::filesystem::create_directories(spool_.sandbox().storeRoot() / ".hidden");
  writeBytes(spool_.sandbox().storeRoot() / "stray-file", "x");
  scheduler_->advance(1.5);  // A is 3.0 s old, B 2.0 s, C 1.5 s

  const double maxAge = spool_.configuration()->common().maxTimeFileSaved;
  writeBytes(spool_.sandbox().storeRoot() / "Old_1" / ".date.dat", Repository::encodeDate(now() - maxAge - 0.001));
  writeBytes(spool_.sandbox().storeRoot() / "Edge_1" / ".date.dat", Repository::encodeDate(now() - maxAge));

  auto ready = controller_.readyBatches(batch("C_1", start));
  auto readyNames = names(ready);
  std::sort(readyNames.begin(), readyNames.end());
  EXPECT_EQ(readyNames, (std::vector<std::string>{"A_1", "Edge_1", "Undated_1"}));
  for (const auto& entry : ready) {
    if (entry.directory.name() == "A_1") {
      EXPECT_EQ(entry.date, start);
    }
    if (entry.directory.name() == "Undated_1") {
      EXPECT_EQ(entry.date, now() - 3.0);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(spool_.sandbox().storeRoot() / "Old_1"));
  EXPECT_TRUE(std::filesystem::exists(spool_.sandbox().storeRoot() / "Edge_1"));

  // The resting age is dataIntegrityBatchDelay: at 3.0 s, A (3.0 s old) and the undated folder rest too.
  spool_.configuration()->editCommon([](Common& common) { common.dataIntegrityBatchDelay = 3.0; });
  EXPECT_EQ(names(controller_.readyBatches(batch("C_1", start))), (std::vector<std::string>{"Edge_1"}));
  spool_.configuration()->editCommon([](Common& common) { common.dataIntegrityBatchDelay = 2.0; });

  // Later, with no current batch, B and C are ready too; the undated folder is still 3.0 s old.
  scheduler_->advance(maxAge - 10.0);
  readyNames = names(controller_.readyBatches(std::nullopt));
  std::sort(readyNames.begin(), readyNames.end());
  EXPECT_EQ(readyNames, (std::vector<std::string>{"A_1", "B_1", "C_1", "Undated_1"}));
}

// Batches group by the screen ID before the first "_", with the earliest date, sorted by date;
// a screen's ScreenToSend has the last batch's ID and the blocks of all its batches in order.
TEST_F(DataControllerTest, ScreenBatchesAndScreenToSend) {
  auto directory = [&](const std::string& name, platform::Date date) {
    Repository::DirectoryDate entry;
    entry.directory = spool_.repository().root().appending(name, false);
    entry.date = date;
    return entry;
  };
  auto screens = controller_.screenBatches(
      {directory("S_1", 10), directory("T_1", 7), directory("S_2", 5), directory("U", 1), directory("T_2_x", 8)});
  ASSERT_EQ(screens.size(), 3u);
  EXPECT_EQ(screens[0], (ScreenBatches{"U", {"U"}, 1}));
  EXPECT_EQ(screens[1], (ScreenBatches{"S", {"S_1", "S_2"}, 5}));
  EXPECT_EQ(screens[2], (ScreenBatches{"T", {"T_1", "T_2_x"}, 7}));

  controller_.saveEventNow(EventType::batchEnd, now(), std::string("one"), batch("S_1", now()));
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("two"), batch("S_2", now()));
  saveImages("S_2", {1, 0});
  saveImages("S_1", {0});
  auto toSend = controller_.screenToSend(screens[1]);
  EXPECT_EQ(toSend.id, "S_2");
  EXPECT_EQ(toSend.events, (std::vector<std::string>{R"({"t":"bE","o":0,"d":"one"})", R"({"t":"bE","o":0,"d":"two"})"}));
  ASSERT_TRUE(toSend.images.has_value());
  ASSERT_EQ(toSend.images->size(), 3u);
  EXPECT_EQ((*toSend.images)[0].data, "jpeg-0");
  EXPECT_EQ((*toSend.images)[1].timestamp, 1000);
  EXPECT_EQ((*toSend.images)[2].data, "jpeg-1");
  EXPECT_EQ(toSend.batchesName, (std::vector<std::string>{"S_1", "S_2"}));
  EXPECT_EQ(controller_.screenToSend(ScreenBatches{"Z", {}, 0}).id, "Z");
}

// Images are read in the order of the numbers their names spell; damaged ones are left out. Reading
// stops at kMaxImagesVideoRecording files, and as soon as the footprint exceeds physical memory / 2.2.
TEST_F(DataControllerTest, ImagesInIndexOrderAndReadingLimits) {
  saveImages("S_1", {10, 9, 2});
  writeBytes(batchFolder("S_1") / "cache" / "5", "damaged");
  std::vector<std::int64_t> indexes;
  for (const auto& image : spool_.repository().images("S_1")) indexes.push_back(image.index);
  EXPECT_EQ(indexes, (std::vector<std::int64_t>{2, 9, 10}));
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1") / "cache" / "5"));
  EXPECT_TRUE(spool_.repository().images("Missing_1").empty());

  saveImages("T_1", {0, 1, 2, 3, 4});
  spool_.configuration()->editCommon([](Common& common) { common.kMaxImagesVideoRecording = 3; });
  EXPECT_EQ(spool_.repository().images("T_1").size(), 3u);
  spool_.configuration()->editCommon([](Common& common) { common.kMaxImagesVideoRecording = 2000; });
  footprint_->values = {100.0, 499.0, 501.0};  // the ceiling is 1100 / 2.2 = 500 MiB
  footprint_->calls = 0;
  auto images = spool_.repository().images("T_1");
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[1].index, 1);
}

// Deleting images removes only the cache folder; deleting a batch removes it whole; failures log.
TEST_F(DataControllerTest, Deletion) {
  controller_.saveEventNow(EventType::batchEnd, now(), std::string("x"), batch("S_1", now()));
  saveImages("S_1", {0});
  controller_.deleteImages("S_1");
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1") / "cache"));
  EXPECT_TRUE(std::filesystem::exists(batchFolder("S_1") / "S_1"));
  controller_.deleteBatch("S_1");
  EXPECT_FALSE(std::filesystem::exists(batchFolder("S_1")));

  logs_.clear();
  controller_.deleteImages("S_1");
  controller_.deleteBatch("S_1");
  auto messages = logs_.messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].rfind("Error deleting images directory: ", 0), 0u);
  EXPECT_EQ(messages[1].rfind("Error deleting screen: ", 0), 0u);
  EXPECT_EQ(messages[1].back(), '.');
}

// Events keep coming for a batch whose folder was removed after its first events (sent and deleted
// by the upload worker, or removed behind the store's back): the next event, written at once or
// queued, makes the folder again with a fresh date file, and no block is lost or written twice.
TEST_F(DataControllerTest, RemovedBatchFolderIsMadeAgainByTheNextEvent) {
  struct Case {
    const char* name;
    bool throughController;
    bool queued;
  };
  const std::vector<Case> cases = {
      {"deleteBatch, then saveEventNow", true, false},
      {"deleteBatch, then saveEvent", true, true},
      {"removed outside, then saveEventNow", false, false},
      {"removed outside, then saveEvent", false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto context = batch("S_1", now());
    controller_.saveEventNow(EventType::batchEnd, now(), std::string("a"), context);
    controller_.saveEvent(EventType::batchEnd, now(), std::string("b"), context);
    scheduler_->runUntilIdle();
    ASSERT_EQ(storedBlocks("S_1").size(), 2u);

    if (c.throughController) {
      controller_.deleteBatch("S_1");
    } else {
      std::filesystem::remove_all(batchFolder("S_1"));
    }
    scheduler_->advance(1.0);
    if (c.queued) {
      controller_.saveEvent(EventType::batchEnd, now(), std::string("c"), context);
      scheduler_->runUntilIdle();
    } else {
      EXPECT_FALSE(controller_.saveEventNow(EventType::batchEnd, now(), std::string("c"), context).has_value());
    }
    controller_.saveEventNow(EventType::batchEnd, now(), std::string("d"), context);
    EXPECT_EQ(storedBlocks("S_1"), (std::vector<std::string>{R"({"t":"bE","o":1000,"d":"c"})",
                                                              R"({"t":"bE","o":1000,"d":"d"})"}));
    EXPECT_EQ(readBytes(batchFolder("S_1") / ".date.dat"), Repository::encodeDate(now()));
    for (const auto& message : logs_.messages()) EXPECT_NE(message.rfind("Error", 0), 0u) << message;
    controller_.deleteBatch("S_1");
  }
}

// A batch folder that can't be made logs and drops the event.
TEST_F(DataControllerTest, FolderThatCannotBeMadeDropsEvent) {
  writeBytes(spool_.sandbox().storeRoot() / "S_1", "a file where the folder should be");
  auto error = controller_.saveEventNow(EventType::batchEnd, now(), std::string("x"), batch("S_1", now()));
  controller_.saveEvent(EventType::batchEnd, now(), std::string("x"), batch("S_1", now()));
  scheduler_->runUntilIdle();
  EXPECT_TRUE(error.has_value());
  std::size_t failures = 0;
  for (const auto& message : logs_.messages()) failures += message.rfind("Error creating directory: ", 0) == 0;
  EXPECT_EQ(failures, 2u);
  EXPECT_EQ(readBytes(spool_.sandbox().storeRoot() / "S_1"), "a file where the folder should be");
}

}  // namespace
}  // namespace obx
