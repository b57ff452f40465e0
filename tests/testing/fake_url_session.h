// FakeURLSession: a URLSessionProtocol that answers from a script instead of the network. Each
// resumed task takes the next scripted outcome (or the fallback, 200 with no body, when the script
// is empty) and completes on the delegate queue, as a real session does. Requests are recorded.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"
#include "platform/net/url_session_protocol.h"

namespace obx::testing {

class FakeURLSession final : public platform::URLSessionProtocol {
 public:
  struct Outcome {
    // An HTTP response with this status, or none.
    std::optional<int> statusCode;
    std::optional<platform::URLError> error;
    platform::Data data;

    static Outcome status(int code, platform::Data body = {}) { return Outcome{code, std::nullopt, std::move(body)}; }
    static Outcome failure(int urlErrorCode) {
      return Outcome{std::nullopt, platform::URLError::make(urlErrorCode), {}};
    }
  };

  explicit FakeURLSession(std::shared_ptr<platform::DispatchQueue> delegateQueue)
      : delegateQueue_(std::move(delegateQueue)) {}

  std::shared_ptr<platform::URLSessionDataTask> dataTaskWithRequest(
      const platform::URLRequest& request, platform::DataTaskCompletion completionHandler) override;

  void enqueue(Outcome outcome);
  // Used whenever the script is empty.
  void setFallback(Outcome outcome);

  // Requests whose tasks were resumed, in order.
  std::vector<platform::URLRequest> sentRequests() const;
  std::size_t sendCount() const;

 private:
  Outcome next();

  std::shared_ptr<platform::DispatchQueue> delegateQueue_;
  mutable std::mutex mutex_;
  std::deque<Outcome> script_;
  Outcome fallback_ = Outcome::status(200);
  std::vector<platform::URLRequest> sent_;
};

}  // namespace obx::testing
