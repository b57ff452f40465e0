// RealScheduler: worker threads run the queues, a timer thread fires delayed work, and the main
// queue is served by whichever thread the host lends to runMainLoop / drainMain (its main loop), or,
// for a host without a loop of ours, by a thread of the scheduler's own (serveMainOnOwnThread).
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
  // From now on a thread of the scheduler's own serves the main queue, until the scheduler goes.
  // Idempotent. The host must then not serve it too.
  void serveMainOnOwnThread();
  bool servesMainOnOwnThread() const;
  // Called on the posting thread after each block is queued for the main thread, so that a host's
  // own event loop can wake and drain (a toolkit that sleeps until an event arrives). It must only
  // post, never run the work; an empty handler removes it. Any thread.
  void setMainWakeHandler(Block handler);

 private:
  using SteadyTime = std::chrono::steady_clock::time_point;

  // Threads share this with the scheduler, so that a scheduler released by one of its own workers
  // (the last reference dropped inside a block) can stop without that worker touching freed memory.
  struct State {
    std::mutex poolMutex;
    std::condition_variable poolReady;
    std::deque<Block> work;
    std::vector<std::thread> workers;
    int idle = 0;
    bool stopping = false;

    std::mutex timerMutex;
    std::condition_variable timerChanged;
    std::multimap<std::pair<SteadyTime, std::uint64_t>, Block> timers;
    std::uint64_t sequence = 0;

    std::mutex mainMutex;
    std::condition_variable mainReady;
    std::deque<Block> mainWork;
    bool mainStopping = false;
    std::shared_ptr<const Block> mainWake;
  };

  static void workerLoop(const std::shared_ptr<State>& state);
  static void timerLoop(const std::shared_ptr<State>& state);
  static void mainLoop(const std::shared_ptr<State>& state);
  static std::size_t drainMain(State& state);

  SystemClock clock_;
  std::shared_ptr<State> state_;
  std::thread timerThread_;
  mutable std::mutex mainThreadMutex_;
  std::thread mainThread_;
};

}  // namespace obx::platform
