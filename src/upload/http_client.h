// HTTPClient: sends one request through a URL session and turns the outcome into success or a
// RetryPolicyException: status 200 succeeds; a known status outside retryCodes drops; a status in
// retryCodes, an unknown status or no response at all retries. The completion runs on the
// session's delegate queue. Stateless between sends; callable from any thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "platform/dispatch/scheduler.h"
#include "platform/net/url_session.h"
#include "upload/http_code.h"
#include "upload/send_result.h"

namespace obx {

class HTTPClient {
 public:
  using Completion = std::function<void(SendResult result)>;

  static constexpr const char* kFailureDescription = "Upload to collection server failed!";

  explicit HTTPClient(std::shared_ptr<platform::URLSessionProtocol> session);

  // The session the SDK sends with: the default configuration, request cache policy
  // reload-ignoring-local-cache and no URL cache; completions on its own serial queue on `scheduler`.
  static std::shared_ptr<platform::URLSession> makeSession(std::shared_ptr<platform::Scheduler> scheduler);

  const std::shared_ptr<platform::URLSessionProtocol>& session() const { return session_; }
  // Exactly 500, 501, 502, 503 and 504.
  static const std::set<HTTPCode>& retryCodes();

  // Starts a data task for `request`. `completion` gets the response's data, or a
  // RetryPolicyException with the policy of the outcome.
  void send(const platform::URLRequest& request, Completion completion) const;

  // The classification of one outcome: absent for success, else the exception to complete with.
  // Logs the success and no-response lines of the outcome.
  static std::optional<RetryPolicyException> classify(const std::shared_ptr<const platform::URLResponse>& response,
                                                      const std::optional<platform::URLError>& error);

 private:
  std::shared_ptr<platform::URLSessionProtocol> session_;
};

}  // namespace obx
