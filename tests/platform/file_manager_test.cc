#include "platform/files/file_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/files/file_handle.h"
#include "store/store_test_support.h"

namespace obx::platform {
namespace {

class FileManagerTest : public ::testing::Test {
 protected:
  testing::TemporarySandbox sandbox_;
  const std::filesystem::path root_ = sandbox_.path();
};

// A listing gives each direct entry once with its kind and hidden flag; a missing folder is an error.
// Removal takes folders with their contents and reports a missing path as an error.
TEST_F(FileManagerTest, ListingWithProperties) {
  ASSERT_FALSE(createDirectoryAtPath(root_ / "a" / "b", true).has_value());
  ASSERT_TRUE(createDirectoryAtPath(root_ / "x" / "y", false).has_value());
  ASSERT_FALSE(createFileAtPath(root_ / ".date.dat", "123").has_value());
  ASSERT_FALSE(createFileAtPath(root_ / "file", "abc").has_value());
  auto listing = contentsOfDirectoryAtPath(root_);
  ASSERT_FALSE(listing.error.has_value());
  ASSERT_EQ(listing.entries.size(), 3u);
  std::sort(listing.entries.begin(), listing.entries.end(), [](auto& l, auto& r) { return l.name < r.name; });
  EXPECT_TRUE(listing.entries[0].isHidden && listing.entries[0].isRegularFile);
  EXPECT_TRUE(listing.entries[1].isDirectory && !listing.entries[1].isHidden);
  EXPECT_EQ(listing.entries[2].fileSize, 3u);
  EXPECT_GT(listing.entries[2].creationDate, 0);
  EXPECT_TRUE(contentsOfDirectoryAtPath(root_ / "missing").error.has_value());
  EXPECT_EQ(contentsAtPath(root_ / ".date.dat"), "123");

  createFileAtPath(root_ / "a" / "b" / "f", "x");
  EXPECT_FALSE(removeItemAtPath(root_ / "a").has_value());
  EXPECT_FALSE(fileExistsAtPath(root_ / "a"));
  EXPECT_TRUE(removeItemAtPath(root_ / "a").has_value());
}

// A handle appends at the end or overwrites from offset 0 without truncating; a stream reads
// back in pieces and then reports the end with 0.
TEST_F(FileManagerTest, HandleAndStream) {
  const auto path = root_ / "f";
  EXPECT_EQ(FileHandle::forWritingAtPath(path), nullptr);
  createFileAtPath(path, "hello");
  auto handle = FileHandle::forWritingAtPath(path);
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(handle->seekToEndOfFile().has_value());
  EXPECT_FALSE(handle->writeData(" world").has_value());
  EXPECT_FALSE(handle->seekToFileOffset(0).has_value());
  EXPECT_FALSE(handle->writeData("J").has_value());
  EXPECT_FALSE(handle->closeFile().has_value());
  EXPECT_TRUE(handle->writeData("x").has_value());

  InputStream stream(path);
  ASSERT_TRUE(stream.open());
  char buffer[8];
  EXPECT_EQ(stream.read(buffer, 8), 8);
  EXPECT_EQ(std::string(buffer, 8), "Jello wo");
  EXPECT_EQ(stream.read(buffer, 8), 3);
  EXPECT_EQ(stream.read(buffer, 8), 0);
  InputStream missing(root_ / "none");
  EXPECT_FALSE(missing.open());
  EXPECT_TRUE(missing.streamError().has_value());
}

}  // namespace
}  // namespace obx::platform
