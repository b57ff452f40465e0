// RealScheduler: worker threads run the queues, a timer thread fires delayed work, and the main
// queue is served by whichever thread the host lends to runMainLoop / drainMain (its main loop).
// The pool grows when every worker is busy, so a block that waits in `sync` on another queue never
// starves that queue.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/dispatch/scheduler.h"

namespace obx::platform {

class RealScheduler final : public Scheduler {
 public:
  // The process-wide scheduler; it is never destroyed.
  static std::shared_ptr<RealScheduler> shared();

  RealScheduler();
  ~RealScheduler() override;

  const Clock& clock() const override { return clock_; }
  void execute(Block runnable) override;
  void executeOnMain(Block runnable) override;
  void executeAfter(double seconds, Block runnable) override;
  bool runsInline() const override { return false; }

  // Serves the main queue on the calling thread until `done` returns true or `timeoutSeconds`
  // pass. Returns whether `done` became true.
  bool runMainLoop(const std::function<bool()>& done, double timeoutSeconds);
  // Runs the main-queue blocks that are ready now, on the calling thread.
  std::size_t drainMain();

 private:
  using SteadyTime = std::chrono::steady_clock::time_point;

  void workerLoop();
  void timerLoop();

  SystemClock clock_;

  std::mutex poolMutex_;
  std::condition_variable poolReady_;
  std::deque<Block> work_;
  std::vector<std::thread> workers_;
  int idle_ = 0;
  bool stopping_ = false;

  std::mutex timerMutex_;
  std::condition_variable timerChanged_;
  std::multimap<std::pair<SteadyTime, std::uint64_t>, Block> timers_;
  std::uint64_t sequence_ = 0;
  std::thread timerThread_;

  std::mutex mainMutex_;
  std::condition_variable mainReady_;
  std::deque<Block> mainWork_;
};

}  // namespace obx::platform
