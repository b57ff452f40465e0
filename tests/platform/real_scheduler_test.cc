// Properties of the threaded scheduler that the rest of the SDK leans on. These tests use real
// threads on purpose; they wait on outcomes, never on fixed sleeps, except to give a race a chance.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/real_scheduler.h"

namespace obx::platform {
namespace {

class Latch {
 public:
  explicit Latch(int count) : count_(count) {}
  void countDown() {
    std::lock_guard lock(mutex_);
    if (--count_ <= 0) done_.notify_all();
  }
  bool wait(double seconds = 10.0) {
    std::unique_lock lock(mutex_);
    return done_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return count_ <= 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  int count_;
};

// A serial queue fed from several threads never runs two blocks at once, and runs each thread's
// blocks in the order that thread submitted them.
TEST(RealScheduler, SerialQueueNeverOverlapsAndKeepsOrder) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto queue = DispatchQueue::makeSerial(scheduler, "test.serial");
  constexpr int kThreads = 4;
  constexpr int kBlocks = 500;
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  std::vector<std::vector<int>> seen(kThreads);
  Latch latch(kThreads * kBlocks);
  std::vector<std::thread> producers;
  for (int t = 0; t < kThreads; ++t) {
    producers.emplace_back([&, t] {
      for (int i = 0; i < kBlocks; ++i) {
        queue->async([&, t, i] {
          if (inside.fetch_add(1) != 0) overlapped = true;
          seen[t].push_back(i);  // unsynchronised on purpose: the queue must serialise it
          inside.fetch_sub(1);
          latch.countDown();
        });
      }
    });
  }
  for (auto& producer : producers) producer.join();
  ASSERT_TRUE(latch.wait());
  EXPECT_FALSE(overlapped.load());
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), static_cast<std::size_t>(kBlocks));
    for (int i = 0; i < kBlocks; ++i) EXPECT_EQ(seen[t][i], i);
  }
}

// A barrier starts only after every earlier block has finished, and no later block starts before the
// barrier has finished; plain blocks on either side do run side by side.
TEST(RealScheduler, BarrierExcludesBlocksOnBothSides) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto queue = DispatchQueue::makeConcurrent(scheduler, "test.concurrent");
  std::atomic<int> before{0};
  std::atomic<int> after{0};
  std::atomic<int> inside{0};
  std::atomic<int> maxInside{0};
  std::atomic<bool> barrierSawAllBefore{false};
  std::atomic<bool> afterStartedEarly{false};
  std::atomic<bool> barrierDone{false};
  Latch latch(21);
  auto plain = [&](std::atomic<int>& counter, bool isAfter) {
    return [&, isAfter] {
      if (isAfter && !barrierDone.load()) afterStartedEarly = true;
      int now = inside.fetch_add(1) + 1;
      int seenMax = maxInside.load();
      while (now > seenMax && !maxInside.compare_exchange_weak(seenMax, now)) {
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      inside.fetch_sub(1);
      counter.fetch_add(1);
      latch.countDown();
    };
  };
  for (int i = 0; i < 10; ++i) queue->async(plain(before, false));
  queue->asyncBarrier([&] {
    barrierSawAllBefore = before.load() == 10 && inside.load() == 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    barrierDone = true;
    latch.countDown();
  });
  for (int i = 0; i < 10; ++i) queue->async(plain(after, true));
  ASSERT_TRUE(latch.wait());
  EXPECT_TRUE(barrierSawAllBefore.load());
  EXPECT_FALSE(afterStartedEarly.load());
  EXPECT_EQ(after.load(), 10);
  EXPECT_GT(maxInside.load(), 1) << "plain blocks of a concurrent queue should overlap";
}

// A work item cancelled before its time never runs; its uncancelled sibling does.
TEST(RealScheduler, CancelledWorkItemNeverRuns) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto queue = DispatchQueue::makeSerial(scheduler, "test.cancel");
  std::atomic<bool> cancelledRan{false};
  Latch latch(1);
  auto cancelled = DispatchWorkItem::make([&] { cancelledRan = true; });
  auto kept = DispatchWorkItem::make([&] { latch.countDown(); });
  queue->asyncAfter(0.05, cancelled);
  queue->asyncAfter(0.10, kept);
  cancelled->cancel();
  ASSERT_TRUE(latch.wait());
  queue->sync([] {});
  EXPECT_FALSE(cancelledRan.load());
}

// Delayed blocks fire in the order of their due time, not of their submission.
TEST(RealScheduler, DelayedBlocksFireInTimeOrder) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto queue = DispatchQueue::makeSerial(scheduler, "test.delays");
  std::vector<int> order;
  Latch latch(4);
  const double delays[] = {0.08, 0.02, 0.06, 0.04};
  for (int i = 0; i < 4; ++i) {
    queue->asyncAfter(delays[i], [&, i] {
      order.push_back(i);
      latch.countDown();
    });
  }
  ASSERT_TRUE(latch.wait());
  EXPECT_EQ(order, (std::vector<int>{1, 3, 2, 0}));
}

// `sync` returns after the block ran and after everything submitted before it; a `sync` from inside
// the same queue runs at once instead of deadlocking.
TEST(RealScheduler, SyncWaitsForEarlierBlocksAndIsReentrant) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto queue = DispatchQueue::makeSerial(scheduler, "test.sync");
  std::vector<int> order;
  queue->async([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    order.push_back(1);
  });
  queue->sync([&] {
    order.push_back(2);
    queue->sync([&] { order.push_back(3); });
  });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

// The main queue runs only on the thread that serves the main loop.
TEST(RealScheduler, MainQueueRunsOnTheLoopThread) {
  auto scheduler = std::make_shared<RealScheduler>();
  auto main = scheduler->mainQueue();
  // A host loop that sleeps until woken (a toolkit's) is woken for a block posted from another
  // thread and for a delayed one, and no longer once its handler is removed.
  std::atomic<int> wakes{0};
  scheduler->setMainWakeHandler([&] { ++wakes; });
  std::thread::id ranOn;
  std::atomic<bool> ran{false};
  std::thread other([&] {
    main->async([&] {
      ranOn = std::this_thread::get_id();
      ran = true;
    });
  });
  other.join();
  ASSERT_TRUE(scheduler->runMainLoop([&] { return ran.load(); }, 10.0));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_GE(wakes.load(), 1);
  // Posted once the queue is idle, so its wake is not folded into the first one's.
  const int beforeDelayed = wakes.load();
  std::atomic<bool> delayed{false};
  main->asyncAfter(0.01, [&] { delayed = true; });
  // The timer thread wakes the loop after queueing the block: the block may run first.
  EXPECT_TRUE(scheduler->runMainLoop([&] { return delayed.load() && wakes.load() > beforeDelayed; }, 10.0));
  scheduler->setMainWakeHandler({});
  const int before = wakes.load();
  main->async([] {});
  scheduler->drainMain();
  EXPECT_EQ(wakes.load(), before);
}

// Served on the scheduler's own thread, the main queue runs without anyone draining it, in order,
// always on that one thread, and a worker block that waits for the main queue (as a screen start
// does) completes.
TEST(RealScheduler, MainQueueServedOnItsOwnThread) {
  auto scheduler = std::make_shared<RealScheduler>();
  scheduler->serveMainOnOwnThread();
  scheduler->serveMainOnOwnThread();
  EXPECT_TRUE(scheduler->servesMainOnOwnThread());
  auto main = scheduler->mainQueue();
  auto worker = DispatchQueue::makeSerial(scheduler, "test.worker");
  std::mutex mutex;
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  Latch done(1);
  for (int i = 0; i < 50; ++i) {
    main->async([&, i] {
      std::lock_guard lock(mutex);
      order.push_back(i);
      threads.push_back(std::this_thread::get_id());
      if (i == 49) done.countDown();
    });
  }
  ASSERT_TRUE(done.wait());
  worker->sync([&] { main->sync([] {}); });
  std::lock_guard lock(mutex);
  ASSERT_EQ(order.size(), 50u);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);
  for (const auto& thread : threads) EXPECT_EQ(thread, threads.front());
  EXPECT_NE(threads.front(), std::this_thread::get_id());
}

}  // namespace
}  // namespace obx::platform
