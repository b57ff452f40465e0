// The threads a C host meets: who serves the SDK's main queue, and where the delegate's callbacks
// run while the host is inside a call of the SDK or drains the main queue. These tests use real
// threads on purpose; they wait on outcomes, with a generous limit that only a deadlock reaches.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "config/sdk_configuration.h"
#include "core/c_delegate_adapter.h"
#include "core/c_host_main_queue.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/real_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

constexpr double kDeadlockLimit = 10.0;

// A flag one thread raises and another waits for, up to a limit.
class Flag {
 public:
  void raise() {
    std::lock_guard lock(mutex_);
    raised_ = true;
    changed_.notify_all();
  }
  bool wait(double seconds = kDeadlockLimit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return raised_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool raised_ = false;
};

// What a host's sampling callback saw: its thread, and whether the host had come back from the call
// that caused it before the callback gave up waiting for that.
struct BlockingHost {
  Flag hostReturned;
  std::mutex mutex;
  std::condition_variable called;
  std::vector<std::thread::id> threads;
  int gaveUp = 0;

  // Waits until `count` callbacks have finished.
  bool waitForCalls(std::size_t count) {
    std::unique_lock lock(mutex);
    return called.wait_for(lock, std::chrono::duration<double>(kDeadlockLimit * 2),
                           [&] { return threads.size() >= count; });
  }
};

extern "C" void waitForHost(void* userData, const obx_sampling_multiplatform*) {
  auto* host = static_cast<BlockingHost*>(userData);
  const bool returned = host->hostReturned.wait();
  std::lock_guard lock(host->mutex);
  host->threads.push_back(std::this_thread::get_id());
  if (!returned) ++host->gaveUp;
  host->called.notify_all();
}

obx_delegate blockingTable(BlockingHost& host) { return obx_delegate{&host, nullptr, nullptr, waitForHost}; }

// In host-drains mode the main queue runs only in the host's drain, on the host's thread, and a
// later initialization asking for the SDK's thread changes nothing; in SDK-thread mode it runs with
// no drain, on another thread, and a drain by the host runs nothing.
TEST(CHostMainQueueTest, WhoServesTheMainQueue) {
  struct Case {
    CHostMainQueue::Mode mode;
    bool hostRuns;
  };
  for (const Case& c : {Case{CHostMainQueue::Mode::hostDrains, true}, Case{CHostMainQueue::Mode::sdkThread, false}}) {
    SCOPED_TRACE(c.hostRuns ? "host drains" : "SDK thread");
    auto scheduler = std::make_shared<platform::RealScheduler>();
    CHostMainQueue mainQueue;
    EXPECT_EQ(mainQueue.drain(), 0u);  // before initialization nobody has said who serves it
    mainQueue.adopt(c.mode, scheduler);
    mainQueue.adopt(c.hostRuns ? CHostMainQueue::Mode::sdkThread : CHostMainQueue::Mode::hostDrains, scheduler);

    std::mutex mutex;
    std::vector<std::thread::id> threads;
    Flag done;
    for (int i = 0; i < 3; ++i) {
      scheduler->mainQueue()->async([&, i] {
        std::lock_guard lock(mutex);
        threads.push_back(std::this_thread::get_id());
        if (i == 2) done.raise();
      });
    }
    if (c.hostRuns) {
      EXPECT_FALSE(scheduler->servesMainOnOwnThread());
      EXPECT_EQ(mainQueue.drain(), 3u);
    } else {
      ASSERT_TRUE(done.wait());
      EXPECT_EQ(mainQueue.drain(), 0u);
    }
    std::lock_guard lock(mutex);
    ASSERT_EQ(threads.size(), 3u);
    for (const auto& thread : threads) {
      EXPECT_EQ(thread == std::this_thread::get_id(), c.hostRuns);
    }
  }
}

// A callback caused by a host's own call (retention, on the host's thread) is made on an SDK
// thread after that call has returned: a host callback that waits for the host's thread to come
// back would otherwise never return.
TEST(CHostMainQueueTest, CallbackCausedByAHostCallWaitsForNothingOfTheHost) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  testing::LogCapture logs;
  auto configuration = std::make_shared<SDKConfiguration>(
      Configuration("acc", "prop", Consent::analytics, false, true, false, false, false),
      Platform{PlatformType::flutter, "3.1.0", "Dart"}, scheduler);
  auto adapter = std::make_shared<CDelegateAdapter>(scheduler);
  BlockingHost host;
  obx_delegate table = blockingTable(host);
  adapter->setTable(&table);
  configuration->setDelegate(adapter);

  configuration->setRetention(true);  // tells the delegate twice
  host.hostReturned.raise();
  ASSERT_TRUE(host.waitForCalls(2));
  adapter->setTable(nullptr);
  std::lock_guard lock(host.mutex);
  EXPECT_EQ(host.gaveUp, 0);
  for (const auto& thread : host.threads) EXPECT_NE(thread, std::this_thread::get_id());
}

// A host that drains the main queue is never called back from inside its drain: main-queue work
// that tells the delegate returns at once, the drain returns, and the callback, which waits for
// that, runs on an SDK thread.
TEST(CHostMainQueueTest, DrainNeverCallsTheDelegate) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  CHostMainQueue mainQueue;
  mainQueue.adopt(CHostMainQueue::Mode::hostDrains, scheduler);
  auto adapter = std::make_shared<CDelegateAdapter>(scheduler);
  BlockingHost host;
  obx_delegate table = blockingTable(host);
  adapter->setTable(&table);

  std::atomic<bool> told{false};
  scheduler->mainQueue()->async([&] {
    adapter->sampling(SamplingMultiplatform{false, true});
    told = true;
  });
  EXPECT_EQ(mainQueue.drain(), 1u);
  EXPECT_TRUE(told);
  host.hostReturned.raise();
  ASSERT_TRUE(host.waitForCalls(1));
  adapter->setTable(nullptr);
  std::lock_guard lock(host.mutex);
  EXPECT_EQ(host.gaveUp, 0);
  ASSERT_EQ(host.threads.size(), 1u);
  EXPECT_NE(host.threads[0], std::this_thread::get_id());
}

}  // namespace
}  // namespace obx
