#include "platform/dispatch/real_scheduler.h"

#include "platform/crash/alternate_signal_stack.h"

namespace obx::platform {
namespace {
constexpr std::size_t kMaxWorkers = 64;
}

std::shared_ptr<RealScheduler> RealScheduler::shared() {
  // Leaked on purpose: queues of process-wide objects may still post work while the process exits.
  static auto* instance = new std::shared_ptr<RealScheduler>(std::make_shared<RealScheduler>());
  return *instance;
}

RealScheduler::RealScheduler() : state_(std::make_shared<State>()) {
  auto state = state_;
  timerThread_ = std::thread([state] { timerLoop(state); });
}

RealScheduler::~RealScheduler() {
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(state_->poolMutex);
    state_->stopping = true;
    workers.swap(state_->workers);
  }
  { std::lock_guard lock(state_->timerMutex); }
  {
    std::lock_guard lock(state_->mainMutex);
    state_->mainStopping = true;
  }
  state_->poolReady.notify_all();
  state_->timerChanged.notify_all();
  state_->mainReady.notify_all();
  // The last reference may be dropped on one of our own threads: that one finishes on its own.
  const auto self = std::this_thread::get_id();
  for (auto& worker : workers) {
    if (worker.get_id() == self) {
      worker.detach();
    } else {
      worker.join();
    }
  }
  for (std::thread* thread : {&timerThread_, &mainThread_}) {
    if (!thread->joinable()) continue;
    if (thread->get_id() == self) {
      thread->detach();
    } else {
      thread->join();
    }
  }
}

void RealScheduler::execute(Block runnable) {
  std::lock_guard lock(state_->poolMutex);
  if (state_->stopping) return;
  state_->work.push_back(std::move(runnable));
  if (state_->idle < static_cast<int>(state_->work.size()) && state_->workers.size() < kMaxWorkers) {
    auto state = state_;
    state_->workers.emplace_back([state] { workerLoop(state); });
  } else {
    state_->poolReady.notify_one();
  }
}

void RealScheduler::workerLoop(const std::shared_ptr<State>& state) {
  // A crash on this thread, a stack overflow included, still reaches the crash handlers.
  AlternateSignalStack::ensureForCurrentThread();
  std::unique_lock lock(state->poolMutex);
  for (;;) {
    ++state->idle;
    state->poolReady.wait(lock, [&] { return state->stopping || !state->work.empty(); });
    --state->idle;
    if (state->stopping) return;
    Block next = std::move(state->work.front());
    state->work.pop_front();
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
    std::lock_guard lock(state_->timerMutex);
    state_->timers.emplace(std::make_pair(std::chrono::steady_clock::now() + delay, state_->sequence++),
                           std::move(runnable));
  }
  state_->timerChanged.notify_one();
}

void RealScheduler::timerLoop(const std::shared_ptr<State>& state) {
  AlternateSignalStack::ensureForCurrentThread();
  std::unique_lock lock(state->timerMutex);
  for (;;) {
    {
      std::lock_guard poolLock(state->poolMutex);
      if (state->stopping) return;
    }
    if (state->timers.empty()) {
      state->timerChanged.wait_for(lock, std::chrono::milliseconds(200));
      continue;
    }
    auto due = state->timers.begin()->first.first;
    if (std::chrono::steady_clock::now() < due) {
      state->timerChanged.wait_until(lock, due);
      continue;
    }
    Block fire = std::move(state->timers.begin()->second);
    state->timers.erase(state->timers.begin());
    lock.unlock();
    fire();
    fire = nullptr;
    lock.lock();
  }
}

void RealScheduler::executeOnMain(Block runnable) {
  std::shared_ptr<const Block> wake;
  {
    std::lock_guard lock(state_->mainMutex);
    state_->mainWork.push_back(std::move(runnable));
    wake = state_->mainWake;
  }
  state_->mainReady.notify_all();
  if (wake) (*wake)();
}

void RealScheduler::setMainWakeHandler(Block handler) {
  std::lock_guard lock(state_->mainMutex);
  state_->mainWake = handler ? std::make_shared<const Block>(std::move(handler)) : nullptr;
}

std::size_t RealScheduler::drainMain() { return drainMain(*state_); }

std::size_t RealScheduler::drainMain(State& state) {
  std::size_t count = 0;
  for (;;) {
    Block next;
    {
      std::lock_guard lock(state.mainMutex);
      if (state.mainWork.empty()) return count;
      next = std::move(state.mainWork.front());
      state.mainWork.pop_front();
    }
    next();
    next = nullptr;
    ++count;
  }
}

void RealScheduler::serveMainOnOwnThread() {
  std::lock_guard lock(mainThreadMutex_);
  if (mainThread_.joinable()) return;
  auto state = state_;
  mainThread_ = std::thread([state] { mainLoop(state); });
}

bool RealScheduler::servesMainOnOwnThread() const {
  std::lock_guard lock(mainThreadMutex_);
  return mainThread_.joinable();
}

void RealScheduler::mainLoop(const std::shared_ptr<State>& state) {
  AlternateSignalStack::ensureForCurrentThread();
  for (;;) {
    {
      std::unique_lock lock(state->mainMutex);
      state->mainReady.wait(lock, [&] { return state->mainStopping || !state->mainWork.empty(); });
      if (state->mainStopping) return;
    }
    drainMain(*state);
  }
}

bool RealScheduler::runMainLoop(const std::function<bool()>& done, double timeoutSeconds) {
  AlternateSignalStack::ensureForCurrentThread();
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(timeoutSeconds));
  for (;;) {
    drainMain();
    if (done()) return true;
    std::unique_lock lock(state_->mainMutex);
    if (std::chrono::steady_clock::now() >= deadline) return done();
    state_->mainReady.wait_until(
        lock, std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(10)),
        [this] { return !state_->mainWork.empty(); });
  }
}

}  // namespace obx::platform
