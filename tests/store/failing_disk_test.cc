#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/testing/fault_injecting_files.h"
#include "testing/log_capture.h"
#include "testing/spool.h"

namespace obx {
namespace {

// The store on a disk that fails: full, failing writes, a power cut.
class FailingDiskTest : public ::testing::Test {
 protected:
  BatchContext batch(const std::string& id) const { return testing::Spool::batch(id, scheduler_->now()); }

  std::shared_ptr<DataController> makeController() {
    return testing::Spool::openStore(spool_.configuration(), scheduler_, spool_.readWrite());
  }

  void save(const std::string& batchID, const std::string& goal) {
    controller_->saveEvent(EventType::goal, scheduler_->now(), Goal{goal, "EUR", 1.0f}, batch(batchID));
  }

  // The goal names of a batch's event file as a fresh reader finds them.
  std::vector<std::string> goals(const std::string& batchID) {
    std::vector<std::string> names;
    for (const auto& block : makeController()->repository().events(batchID)) {
      names.push_back(parseJSON(block).at("d").at("conid").get<std::string>());
    }
    return names;
  }

  std::size_t linesStartingWith(const std::string& prefix) const {
    auto messages = logs_.messages();
    return static_cast<std::size_t>(std::count_if(messages.begin(), messages.end(), [&](const std::string& line) {
      return line.rfind(prefix, 0) == 0;
    }));
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_, testing::Spool::Options().withPlatform(Platform{}).withPhysicalMemory(0.0)};
  testing::LogCapture logs_;
  std::shared_ptr<DataController> controller_ = spool_.dataController();
};

// A full disk loses no batch written before it, nor the blocks of the batch being written; it logs
// its first failure only, and the store writes again once space returns.
TEST_F(FailingDiskTest, FullDiskLosesNothingStoredAndResumes) {
  for (const char* goal : {"a1", "a2", "a3"}) save("A_1", goal);
  for (const char* goal : {"b1", "b2"}) save("B_1", goal);
  scheduler_->runUntilIdle();

  platform::FaultInjectingFiles disk(spool_.sandbox().path());
  disk.failAfterBytes(30);  // less than one record: the write that fills the disk is torn
  for (int i = 0; i < 20; ++i) save(i % 2 == 0 ? "B_1" : "C_1", "lost" + std::to_string(i));
  EXPECT_TRUE(controller_->saveEventNow(EventType::goal, scheduler_->now(), Goal{"now", "EUR", 1.0f}, batch("B_1"))
                  .has_value());
  scheduler_->runUntilIdle();
  EXPECT_GE(disk.failedWrites(), 21);

  EXPECT_EQ(goals("A_1"), (std::vector<std::string>{"a1", "a2", "a3"}));
  EXPECT_EQ(goals("B_1"), (std::vector<std::string>{"b1", "b2"}));
  EXPECT_TRUE(goals("C_1").empty());
  EXPECT_EQ(linesStartingWith("Error save event: "), 1u);
  EXPECT_EQ(linesStartingWith("Error creating directory: "), 0u);
  EXPECT_EQ(linesStartingWith("Error convert file events encrypted"), 0u);

  disk.makeSpace();
  save("B_1", "b3");
  save("C_1", "c1");
  scheduler_->runUntilIdle();
  EXPECT_EQ(goals("B_1"), (std::vector<std::string>{"b1", "b2", "b3"}));
  EXPECT_EQ(goals("C_1"), (std::vector<std::string>{"c1"}));
  EXPECT_TRUE(std::filesystem::exists(spool_.sandbox().storeRoot() / "C_1" / ".date.dat"));
  EXPECT_EQ(linesStartingWith("Store writes again after "), 1u);
}

// Wherever a failed write stops inside a record (before it, in the length, at the length's end, in
// the ciphertext), the file keeps its earlier blocks and takes later ones.
TEST_F(FailingDiskTest, TornWriteLeavesTheFileReadable) {
  for (std::uint64_t room : {0u, 3u, 4u, 20u}) {
    SCOPED_TRACE(room);
    const std::string id = "T" + std::to_string(room) + "_1";
    save(id, "before");
    scheduler_->runUntilIdle();
    {
      platform::FaultInjectingFiles disk(spool_.sandbox().storeRoot() / id);
      disk.failAfterBytes(room);
      save(id, "torn");
      scheduler_->runUntilIdle();
      EXPECT_EQ(disk.failedWrites(), 1);
    }
    save(id, "after");
    scheduler_->runUntilIdle();
    EXPECT_EQ(goals(id), (std::vector<std::string>{"before", "after"}));
  }
}

// Writes that fail outright (EIO) leave the event file and the date file as they were.
TEST_F(FailingDiskTest, FailedWritesChangeNothing) {
  save("E_1", "one");
  scheduler_->runUntilIdle();
  const std::string date = testing::readBytes(spool_.sandbox().storeRoot() / "E_1" / ".date.dat");
  {
    platform::FaultInjectingFiles disk(spool_.sandbox().path());
    disk.failNextWrites(3);
    for (const char* goal : {"x", "y", "z"}) save("E_1", goal);
    scheduler_->runUntilIdle();
  }
  save("E_1", "two");
  scheduler_->runUntilIdle();
  EXPECT_EQ(goals("E_1"), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(testing::readBytes(spool_.sandbox().storeRoot() / "E_1" / ".date.dat"), date);
  EXPECT_EQ(linesStartingWith("Error save event: "), 1u);
}

// After a power cut that drops the unsynced tail of the event files, the store reopens on the same
// folder, keeps each batch's date (written synced), and appends new events to what survived.
TEST_F(FailingDiskTest, PowerCutKeepsTheStoreUsable) {
  save("P_1", "before faults");
  scheduler_->runUntilIdle();
  {
    platform::FaultInjectingFiles disk(spool_.sandbox().path());
    save("P_1", "unsynced");
    save("Q_1", "unsynced");
    scheduler_->runUntilIdle();
    disk.simulateCrash();
  }
  controller_ = makeController();
  save("P_1", "after");
  save("Q_1", "after");
  scheduler_->runUntilIdle();
  EXPECT_EQ(goals("P_1"), (std::vector<std::string>{"before faults", "after"}));
  EXPECT_EQ(goals("Q_1"), (std::vector<std::string>{"after"}));
  EXPECT_TRUE(Repository::readDateFile(spool_.sandbox().storeRoot() / "Q_1").has_value());
  EXPECT_EQ(linesStartingWith("Error convert file events encrypted"), 0u);
}

}  // namespace
}  // namespace obx
