#include "platform/net/url_session_task.h"

#include "platform/net/curl_transfer.h"

namespace obx::platform {

URLSessionTask::URLSessionTask(std::uint64_t taskIdentifier, URLRequest request, Action onResume, Action onCancel)
    : taskIdentifier_(taskIdentifier),
      originalRequest_(std::move(request)),
      onResume_(std::move(onResume)),
      onCancel_(std::move(onCancel)) {}

URLSessionTask::~URLSessionTask() = default;

std::shared_ptr<const URLResponse> URLSessionTask::response() const {
  std::lock_guard lock(mutex_);
  return response_;
}

std::optional<URLError> URLSessionTask::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

void URLSessionTask::resume() {
  State expected = State::suspended;
  if (!state_.compare_exchange_strong(expected, State::running)) return;
  if (transfer_) {
    transfer_->retainTask(shared_from_this());
    detail::TransferEngine::shared().start(transfer_);
  } else if (onResume_) {
    onResume_();
  }
}

void URLSessionTask::cancel() {
  State current = state_.load();
  while (current == State::suspended || current == State::running) {
    if (state_.compare_exchange_weak(current, State::canceling)) break;
  }
  if (current != State::suspended && current != State::running) return;
  if (transfer_) {
    transfer_->retainTask(shared_from_this());
    detail::TransferEngine::shared().cancel(transfer_);
  } else if (onCancel_) {
    onCancel_();
  }
}

void URLSessionTask::markCompleted(std::shared_ptr<const URLResponse> response, std::optional<URLError> error) {
  {
    std::lock_guard lock(mutex_);
    response_ = std::move(response);
    error_ = std::move(error);
  }
  state_.store(State::completed);
}

std::shared_ptr<URLSessionDataTask> URLSessionDataTask::make(URLRequest request, Action onResume, Action onCancel) {
  return std::make_shared<URLSessionDataTask>(0, std::move(request), std::move(onResume), std::move(onCancel));
}

std::shared_ptr<URLSessionDownloadTask> URLSessionDownloadTask::make(URLRequest request, Action onResume,
                                                                     Action onCancel) {
  return std::make_shared<URLSessionDownloadTask>(0, std::move(request), std::move(onResume), std::move(onCancel));
}

}  // namespace obx::platform
