#include "store/cache_controller.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "testing/log_capture.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/manual_scheduler.h"
#include "store/image_cache.h"
#include "store_test_support.h"

namespace obx {
namespace {

class CacheTest : public ::testing::Test {
 protected:
  std::filesystem::path entry(const std::string& key) const {
    return sandbox_.path() / "Library" / "Application Support" / "obx.ombrix.cache" / "config" / key;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
  std::shared_ptr<platform::DispatchQueue> queue_ =
      platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write");
  std::shared_ptr<CacheController> cache_ = CacheController::make(queue_);
};

// A key never saved reads as nothing, without a log line and without making folders. Saves are
// queued on the read-write queue and a read waits for them; entries are enciphered single blocks in
// obx.ombrix.cache/config/<key>.
TEST_F(CacheTest, SaveAndRead) {
  EXPECT_FALSE(cache_->read("config").has_value());
  EXPECT_TRUE(logs_.messages().empty());
  EXPECT_FALSE(std::filesystem::exists(entry("")));
  Json live = Json::object();
  live["batchTime"] = 4.0;
  live["overrideCollectionURL"] = "https://c.x/y";
  cache_->saveConfiguration(live, "config");
  cache_->saveLeadID(std::string("0a1b2c"), "leadID");
  cache_->saveLeadID(std::nullopt, "nothing");
  cache_->saveImage(std::string("\xff\xd8 jpeg", 7), "3-portrait");
  EXPECT_FALSE(std::filesystem::exists(entry("config")));
  EXPECT_EQ(cache_->read("config"), R"({"batchTime":4.0,"overrideCollectionURL":"https://c.x/y"})");
  EXPECT_EQ(cache_->read("leadID"), "0a1b2c");
  EXPECT_EQ(cache_->read("3-portrait"), std::string("\xff\xd8 jpeg", 7));
  EXPECT_FALSE(std::filesystem::exists(entry("nothing")));
  EXPECT_EQ(std::filesystem::file_size(entry("leadID")), 4u + 16u);
}

// A shorter value saved over a longer one reads back whole: the read takes the first block only.
TEST_F(CacheTest, ShorterOverLonger) {
  cache_->save("config", std::vector<std::uint8_t>(100, 'L'));
  scheduler_->runUntilIdle();
  cache_->save("config", std::vector<std::uint8_t>{'s'});
  EXPECT_EQ(cache_->read("config"), "s");
  EXPECT_EQ(std::filesystem::file_size(entry("config")), 4u + 112u);
  EXPECT_TRUE(logs_.messages().empty());
}

// A damaged entry reads as nothing and is deleted.
TEST_F(CacheTest, DamagedEntryIsDeleted) {
  testing::writeBytes(entry("config"), testing::fromHex("20000000") + "too short");
  EXPECT_FALSE(cache_->read("config").has_value());
  EXPECT_FALSE(std::filesystem::exists(entry("config")));
  EXPECT_TRUE(logs_.contains("Error read file Invalid Sequence"));
}

// The memory image cache keeps objects by key, forgets them all at once, and evicts the oldest
// entry beyond its count limit.
TEST(ImageCacheTest, KeysAndLimits) {
  ImageCache<std::string> cache;
  cache.setObject(std::make_shared<const std::string>("one"), "a");
  cache.setObject(std::make_shared<const std::string>("two"), "b");
  EXPECT_EQ(*cache.objectForKey("a"), "one");
  EXPECT_EQ(cache.objectForKey("c"), nullptr);
  cache.setCountLimit(2);
  cache.setObject(std::make_shared<const std::string>("three"), "c");
  EXPECT_EQ(cache.objectForKey("a"), nullptr);
  EXPECT_EQ(cache.count(), 2u);
  cache.removeAllObjects();
  EXPECT_EQ(cache.count(), 0u);
}

}  // namespace
}  // namespace obx
