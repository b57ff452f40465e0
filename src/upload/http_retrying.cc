#include "upload/http_retrying.h"

#include "base/logger.h"

namespace obx {

HTTPRetrying::HTTPRetrying(std::shared_ptr<HTTPClient> session, std::shared_ptr<ReachabilityObserving> reachability,
                           std::shared_ptr<platform::Scheduler> scheduler)
    : state_(std::make_shared<State>()), reachability_(std::move(reachability)) {
  state_->session = std::move(session);
  state_->retryingQueue = platform::DispatchQueue::makeSerial(std::move(scheduler), kRetryingQueueLabel);
  state_->connection.store(kNoConnectionValue);
  if (!reachability_) return;
  if (auto current = reachability_->connection()) state_->connection.store(static_cast<int>(*current));
  std::weak_ptr<State> weak = state_;
  observer_ = ReachabilityObserverValue::make(
      state_->retryingQueue,
      [weak](const std::optional<ReachabilityConnection>& connection, const std::optional<ReachabilityConnection>&) {
        auto state = weak.lock();
        if (!state) return;
        state->connection.store(connection ? static_cast<int>(*connection) : kNoConnectionValue);
      });
  reachability_->add(observer_);
}

HTTPRetrying::~HTTPRetrying() {
  if (reachability_ && observer_) reachability_->remove(observer_);
}

void HTTPRetrying::resetCounter() { state_->counter.store(0); }

int HTTPRetrying::counter() const { return state_->counter.load(); }

std::optional<ReachabilityConnection> HTTPRetrying::connection() const {
  const int raw = state_->connection.load();
  if (raw == kNoConnectionValue) return std::nullopt;
  return static_cast<ReachabilityConnection>(raw);
}

void HTTPRetrying::send(const platform::URLRequest& request, int maximumTries, double delay, Completion completion,
                        Semaphore semaphore) {
  run(state_,
      std::make_shared<Attempt>(Attempt{request, maximumTries, delay, std::move(completion), std::move(semaphore)}));
}

void HTTPRetrying::finish(const Attempt& attempt, SendResult result) {
  if (attempt.completion) attempt.completion(std::move(result));
  if (attempt.semaphore) attempt.semaphore();
}

void HTTPRetrying::run(const std::shared_ptr<State>& state, std::shared_ptr<Attempt> attempt) {
  const int connection = state->connection.load();
  if (connection == kNoConnectionValue || connection == static_cast<int>(ReachabilityConnection::none)) {
    Logger::log("Not internet connection", LogLevel::developer);
    finish(*attempt, SendResult::failure(ConnectionError{"Not internet connection"}));
    return;
  }
  if (state->counter.load() >= attempt->maximumTries) {
    finish(*attempt, SendResult::failure(RetryPolicyException{HTTPClient::kFailureDescription, RetryPolicy::stop}));
    return;
  }

  std::weak_ptr<State> weak = state;
  state->session->send(attempt->request, [weak, attempt](SendResult result) {
    auto state = weak.lock();
    if (!state) return;
    state->counter.fetch_add(1);
    if (result.isSuccess()) {
      // Back to 0 before the completion runs, so that a send it starts at once may go out.
      state->counter.store(0);
      finish(*attempt, std::move(result));
      return;
    }
    const RetryPolicyException* exception = result.retryPolicyException();
    if (exception == nullptr || exception->policy != RetryPolicy::retry) {
      finish(*attempt, std::move(result));
      return;
    }
    const std::string description = exception->description;
    state->retryingQueue->asyncAfter(attempt->delay, [weak, attempt] {
      if (auto state = weak.lock()) run(state, attempt);
    });
    Logger::log("Upload failed with exception: " + description + ", need retry", LogLevel::qa);
  });
}

}  // namespace obx
