#include "platform/dispatch/real_scheduler.h"

namespace obx::platform {
namespace {
constexpr std::size_t kMaxWorkers = 64;
}

std::shared_ptr<RealScheduler> RealScheduler::shared() {
  // Leaked on purpose: queues of process-wide objects may still post work while the process exits.
  static auto* instance = new std::shared_ptr<RealScheduler>(std::make_shared<RealScheduler>());
  return *instance;
}

RealScheduler::RealScheduler() : timerThread_([this] { timerLoop(); }) {}

RealScheduler::~RealScheduler() {
  {
    std::lock_guard lock(poolMutex_);
    stopping_ = true;
  }
  {
    std::lock_guard lock(timerMutex_);
  }
  poolReady_.notify_all();
  timerChanged_.notify_all();
  for (auto& worker : workers_) worker.join();
  timerThread_.join();
}

void RealScheduler::execute(Block runnable) {
  std::lock_guard lock(poolMutex_);
  if (stopping_) return;
  work_.push_back(std::move(runnable));
  if (idle_ < static_cast<int>(work_.size()) && workers_.size() < kMaxWorkers) {
    workers_.emplace_back([this] { workerLoop(); });
  } else {
    poolReady_.notify_one();
  }
}

void RealScheduler::workerLoop() {
  std::unique_lock lock(poolMutex_);
  for (;;) {
    ++idle_;
    poolReady_.wait(lock, [this] { return stopping_ || !work_.empty(); });
    --idle_;
    if (stopping_) return;
    Block next = std::move(work_.front());
    work_.pop_front();
    lock.unlock();
    next();
    next = nullptr;
    lock.lock();
  }
}

void RealScheduler::executeAfter(double seconds, Block runnable) {
  auto delay = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds < 0 ? 0 : seconds));
  {
    std::lock_guard lock(timerMutex_);
    timers_.emplace(std::make_pair(std::chrono::steady_clock::now() + delay, sequence_++), std::move(runnable));
  }
  timerChanged_.notify_one();
}

void RealScheduler::timerLoop() {
  std::unique_lock lock(timerMutex_);
  for (;;) {
    {
      std::lock_guard poolLock(poolMutex_);
      if (stopping_) return;
    }
    if (timers_.empty()) {
      timerChanged_.wait_for(lock, std::chrono::milliseconds(200));
      continue;
    }
    auto due = timers_.begin()->first.first;
    if (std::chrono::steady_clock::now() < due) {
      timerChanged_.wait_until(lock, due);
      continue;
    }
    Block fire = std::move(timers_.begin()->second);
    timers_.erase(timers_.begin());
    lock.unlock();
    fire();
    lock.lock();
  }
}

void RealScheduler::executeOnMain(Block runnable) {
  {
    std::lock_guard lock(mainMutex_);
    mainWork_.push_back(std::move(runnable));
  }
  mainReady_.notify_all();
}

std::size_t RealScheduler::drainMain() {
  std::size_t count = 0;
  for (;;) {
    Block next;
    {
      std::lock_guard lock(mainMutex_);
      if (mainWork_.empty()) return count;
      next = std::move(mainWork_.front());
      mainWork_.pop_front();
    }
    next();
    ++count;
  }
}

bool RealScheduler::runMainLoop(const std::function<bool()>& done, double timeoutSeconds) {
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(timeoutSeconds));
  for (;;) {
    drainMain();
    if (done()) return true;
    std::unique_lock lock(mainMutex_);
    if (std::chrono::steady_clock::now() >= deadline) return done();
    mainReady_.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(10)),
                          [this] { return !mainWork_.empty(); });
  }
}

}  // namespace obx::platform
