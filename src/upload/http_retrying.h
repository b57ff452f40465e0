// HTTPRetrying: sends a request through the HTTPClient while connectivity lasts, trying again
// `delay` seconds apart on its own serial queue when the outcome says `retry`.
//
// `counter` counts finished sends since the last success and is shared by every request that goes
// through this object: once it reaches a send's maximum, that send and every later one end in
// `stop` without going out, until a success or resetCounter() sets it back to 0. The upload cycle
// calls resetCounter() at the start of each pass, so that a service that comes back is used again.
//
// Connectivity comes from reachability, observed on the retrying queue. Sends may start on any
// thread; completions run on the session's delegate queue or on the retrying queue.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "lifecycle/reachability_observing.h"
#include "platform/dispatch/dispatch_queue.h"
#include "upload/http_client.h"

namespace obx {

class HTTPRetrying {
 public:
  using Completion = std::function<void(SendResult result)>;
  // Called once when a send has finished for good, after its completion.
  using Semaphore = std::function<void()>;

  static constexpr const char* kRetryingQueueLabel = "obx.ombrix.retrying";

  // Takes the current connection of `reachability` (if any) and observes its changes until destroyed.
  HTTPRetrying(std::shared_ptr<HTTPClient> session, std::shared_ptr<ReachabilityObserving> reachability,
               std::shared_ptr<platform::Scheduler> scheduler);
  ~HTTPRetrying();
  HTTPRetrying(const HTTPRetrying&) = delete;
  HTTPRetrying& operator=(const HTTPRetrying&) = delete;

  // Sends `request`, at most while `counter` is below `maximumTries`, `delay` seconds between
  // tries. The completion gets the data on success; ConnectionError "Not internet connection"
  // when there is no connectivity; RetryPolicyException `drop` for a refused request, `stop` when
  // the tries are spent. `semaphore`, if given, is signalled when the send is finished for good.
  // Once this object is gone, a pending retry does nothing.
  void send(const platform::URLRequest& request, int maximumTries, double delay, Completion completion,
            Semaphore semaphore = {});

  void resetCounter();
  int counter() const;
  std::optional<ReachabilityConnection> connection() const;
  const std::shared_ptr<HTTPClient>& session() const { return state_->session; }
  const std::shared_ptr<platform::DispatchQueue>& retryingQueue() const { return state_->retryingQueue; }

 private:
  struct State {
    std::shared_ptr<HTTPClient> session;
    std::shared_ptr<platform::DispatchQueue> retryingQueue;
    // The connection as its raw value, kNoConnectionValue while none is known.
    std::atomic<int> connection;
    std::atomic<int> counter{0};
  };
  static constexpr int kNoConnectionValue = -1;

  struct Attempt {
    platform::URLRequest request;
    int maximumTries;
    double delay;
    Completion completion;
    Semaphore semaphore;
  };
  static void run(const std::shared_ptr<State>& state, std::shared_ptr<Attempt> attempt);
  static void finish(const Attempt& attempt, SendResult result);

  std::shared_ptr<State> state_;
  std::shared_ptr<ReachabilityObserving> reachability_;
  std::shared_ptr<ReachabilityObserverValue> observer_;
};

}  // namespace obx
