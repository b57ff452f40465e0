// PublishedSnapshot: what a reader on another thread gets while the owner keeps publishing.
#include "base/published_snapshot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace obx {
namespace {

struct Pair {
  std::string text;
  int number = 0;
};

// A reader racing 20000 publications sees only whole values (text and number from the same
// publication) that never go back in time; the read is lock-free. The writer stays at most four
// publications ahead of the reader's last finished read, inside the kept copies, as the batch
// cycle (one publication in seconds) stays ahead of a crash report.
TEST(PublishedSnapshot, ReaderSeesWholeValuesInOrder) {
  static_assert(PublishedSnapshot<Pair>::isLockFree());
  PublishedSnapshot<Pair> snapshot;
  EXPECT_EQ(snapshot.read(), nullptr);
  constexpr int kPublications = 20000;
  std::atomic<bool> done{false};
  std::atomic<int> torn{0}, backwards{0}, seen{-1};
  std::thread reader([&] {
    int last = -1;
    while (!done.load()) {
      if (const Pair* value = snapshot.read()) {
        if (value->text != std::to_string(value->number) + std::string(64, 'x')) ++torn;
        if (value->number < last) ++backwards;
        last = value->number;
        seen.store(last);
      }
    }
  });
  for (int number = 0; number < kPublications; ++number) {
    while (number - seen.load() > 4) std::this_thread::yield();
    snapshot.publish(Pair{std::to_string(number) + std::string(64, 'x'), number});
  }
  done = true;
  reader.join();
  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(backwards.load(), 0);
  ASSERT_NE(snapshot.read(), nullptr);
  EXPECT_EQ(snapshot.read()->number, kPublications - 1);
}

}  // namespace
}  // namespace obx
