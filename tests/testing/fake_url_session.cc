#include "testing/fake_url_session.h"

namespace obx::testing {

std::shared_ptr<platform::URLSessionDataTask> FakeURLSession::dataTaskWithRequest(
    const platform::URLRequest& request, platform::DataTaskCompletion completionHandler) {
  auto holder = std::make_shared<std::weak_ptr<platform::URLSessionDataTask>>();
  auto task = platform::URLSessionDataTask::make(request, [this, request, holder, completionHandler] {
    Outcome outcome;
    {
      std::lock_guard lock(mutex_);
      sent_.push_back(request);
    }
    outcome = next();
    std::shared_ptr<const platform::URLResponse> response;
    if (outcome.statusCode) {
      response = std::make_shared<platform::HTTPURLResponse>(request.url, *outcome.statusCode, platform::HTTPHeaders{},
                                                             static_cast<std::int64_t>(outcome.data.size()));
    }
    std::optional<platform::Data> data;
    if (outcome.statusCode) data = outcome.data;
    auto task = holder->lock();
    delegateQueue_->async([task, completionHandler, data, response, error = outcome.error] {
      if (task) task->markCompleted(response, error);
      if (completionHandler) completionHandler(data, response, error);
    });
  });
  *holder = task;
  return task;
}

void FakeURLSession::enqueue(Outcome outcome) {
  std::lock_guard lock(mutex_);
  script_.push_back(std::move(outcome));
}

void FakeURLSession::setFallback(Outcome outcome) {
  std::lock_guard lock(mutex_);
  fallback_ = std::move(outcome);
}

std::vector<platform::URLRequest> FakeURLSession::sentRequests() const {
  std::lock_guard lock(mutex_);
  return sent_;
}

std::size_t FakeURLSession::sendCount() const {
  std::lock_guard lock(mutex_);
  return sent_.size();
}

FakeURLSession::Outcome FakeURLSession::next() {
  std::lock_guard lock(mutex_);
  if (script_.empty()) return fallback_;
  Outcome outcome = std::move(script_.front());
  script_.pop_front();
  return outcome;
}

}  // namespace obx::testing
