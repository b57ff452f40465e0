// URLSessionTask and its kinds: one transfer made by a session. A task is made suspended; resume()
// starts it and its completion handler runs once, on the session's delegate queue, when it ends;
// cancel() ends it early with the cancelled error. All operations may be called from any thread.
//
// Tasks made by a URLSession run on the session's transfer thread. A task made directly with an
// onResume/onCancel pair is driven by whoever made it (a fake session in tests, a hook).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/net/url_error.h"
#include "platform/net/url_request.h"
#include "platform/net/url_response.h"

namespace obx::platform {

namespace detail {
class Transfer;
}

class URLSessionTask : public std::enable_shared_from_this<URLSessionTask> {
 public:
  enum class State { running = 0, suspended = 1, canceling = 2, completed = 3 };
  using Action = std::function<void()>;

  virtual ~URLSessionTask();
  URLSessionTask(const URLSessionTask&) = delete;
  URLSessionTask& operator=(const URLSessionTask&) = delete;

  std::uint64_t taskIdentifier() const { return taskIdentifier_; }
  const URLRequest& originalRequest() const { return originalRequest_; }
  State state() const { return state_.load(); }
  // Set when the task has completed.
  std::shared_ptr<const URLResponse> response() const;
  std::optional<URLError> error() const;

  // Starts a suspended task; does nothing otherwise.
  virtual void resume();
  // Ends a task that has not completed; its handler gets the cancelled error and no data.
  virtual void cancel();

  // Records the outcome. Called by the session (or the owner of a driven task) just before the
  // completion handler runs.
  void markCompleted(std::shared_ptr<const URLResponse> response, std::optional<URLError> error);

 protected:
  URLSessionTask(std::uint64_t taskIdentifier, URLRequest request, Action onResume, Action onCancel);

 private:
  friend class URLSession;

  const std::uint64_t taskIdentifier_;
  const URLRequest originalRequest_;
  Action onResume_;
  Action onCancel_;
  std::atomic<State> state_{State::suspended};
  mutable std::mutex mutex_;
  std::shared_ptr<const URLResponse> response_;
  std::optional<URLError> error_;
  std::shared_ptr<detail::Transfer> transfer_;
};

class URLSessionDataTask : public URLSessionTask {
 public:
  // A task driven by its maker: resume() calls `onResume`, cancel() calls `onCancel`.
  static std::shared_ptr<URLSessionDataTask> make(URLRequest request, Action onResume, Action onCancel = {});
  URLSessionDataTask(std::uint64_t taskIdentifier, URLRequest request, Action onResume, Action onCancel)
      : URLSessionTask(taskIdentifier, std::move(request), std::move(onResume), std::move(onCancel)) {}
};

class URLSessionUploadTask final : public URLSessionDataTask {
 public:
  using URLSessionDataTask::URLSessionDataTask;
};

class URLSessionDownloadTask final : public URLSessionTask {
 public:
  static std::shared_ptr<URLSessionDownloadTask> make(URLRequest request, Action onResume, Action onCancel = {});
  URLSessionDownloadTask(std::uint64_t taskIdentifier, URLRequest request, Action onResume, Action onCancel)
      : URLSessionTask(taskIdentifier, std::move(request), std::move(onResume), std::move(onCancel)) {}
};

// Completion of data and upload tasks: the body (absent when the transfer failed), the response
// (absent when none arrived) and the error (absent on success, whatever the status code).
using DataTaskCompletion = std::function<void(std::optional<Data> data, std::shared_ptr<const URLResponse> response,
                                              std::optional<URLError> error)>;
// Completion of download tasks: the path of a temporary file holding the body, removed once the
// handler returns (move or read it there), or absent when the transfer failed.
using DownloadTaskCompletion = std::function<void(
    std::optional<std::string> location, std::shared_ptr<const URLResponse> response, std::optional<URLError> error)>;

}  // namespace obx::platform
