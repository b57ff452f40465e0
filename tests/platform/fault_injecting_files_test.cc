#include "platform/files/testing/fault_injecting_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/files/file_append.h"
#include "platform/files/file_handle.h"
#include "platform/files/file_manager.h"
#include "store/store_test_support.h"

namespace obx::platform {
namespace {

class FaultInjectingFilesTest : public ::testing::Test {
 protected:
  std::optional<std::string> append(const std::filesystem::path& path, std::string_view bytes) {
    auto handle = FileHandle::forAppendingAtPath(path);
    if (!handle) return "no handle";
    return handle->writeData(bytes);
  }

  testing::TemporarySandbox sandbox_;
  const std::filesystem::path root_ = sandbox_.path();
};

// The next N writes fail before writing anything, whichever operation makes them; the one after works.
TEST_F(FaultInjectingFilesTest, FailNextWrites) {
  FaultInjectingFiles faults(root_);
  faults.failNextWrites(3);
  EXPECT_TRUE(createFileAtPath(root_ / "a", "abc").has_value());
  EXPECT_TRUE(writeFileAtomically(root_ / "b", "abc").has_value());
  EXPECT_FALSE(appendToFile(root_ / "c", "abc"));
  EXPECT_FALSE(std::filesystem::exists(root_ / "b"));
  EXPECT_EQ(testing::readBytes(root_ / "a"), "");
  EXPECT_FALSE(createFileAtPath(root_ / "a", "abc").has_value());
  EXPECT_EQ(testing::readBytes(root_ / "a"), "abc");
  EXPECT_EQ(faults.failedWrites(), 3);
}

// A full disk takes what fits of the write that fills it, then refuses every write with ENOSPC until
// space returns; paths outside the scope never fail.
TEST_F(FaultInjectingFilesTest, DiskFullAfterBytes) {
  ASSERT_FALSE(createDirectoryAtPath(root_ / "in", false).has_value());
  ASSERT_FALSE(createFileAtPath(root_ / "in" / "f").has_value());
  FaultInjectingFiles faults(root_ / "in");
  faults.failAfterBytes(5);
  auto error = append(root_ / "in" / "f", "0123456789");
  ASSERT_TRUE(error.has_value());
  EXPECT_NE(error->find("No space left on device"), std::string::npos) << *error;
  EXPECT_EQ(testing::readBytes(root_ / "in" / "f"), "01234");
  EXPECT_TRUE(append(root_ / "in" / "f", "x").has_value());
  EXPECT_FALSE(createFileAtPath(root_ / "outside", "still room here").has_value());
  faults.makeSpace();
  EXPECT_FALSE(append(root_ / "in" / "f", "56789").has_value());
  EXPECT_EQ(testing::readBytes(root_ / "in" / "f"), "0123456789");
  EXPECT_EQ(faults.failedWrites(), 2);
  EXPECT_EQ(faults.bytesWritten(), 10u);
}

// A simulated crash keeps what was synced (an atomic replacement) and what a file held before the
// faults were installed, and drops the rest.
TEST_F(FaultInjectingFilesTest, CrashDropsUnsyncedBytes) {
  ASSERT_FALSE(createFileAtPath(root_ / "old", "kept").has_value());
  FaultInjectingFiles faults(root_);
  ASSERT_FALSE(append(root_ / "old", " and lost").has_value());
  ASSERT_FALSE(createFileAtPath(root_ / "new", "lost").has_value());
  ASSERT_FALSE(writeFileAtomically(root_ / "synced", "durable").has_value());
  ASSERT_FALSE(append(root_ / "synced", " but not this").has_value());
  faults.simulateCrash();
  EXPECT_EQ(testing::readBytes(root_ / "old"), "kept");
  EXPECT_EQ(testing::readBytes(root_ / "new"), "");
  EXPECT_EQ(testing::readBytes(root_ / "synced"), "durable");
}

}  // namespace
}  // namespace obx::platform
