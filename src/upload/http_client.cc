#include "upload/http_client.h"

#include "base/logger.h"
#include "upload/verbose_logging.h"

namespace obx {

HTTPClient::HTTPClient(std::shared_ptr<platform::URLSessionProtocol> session) : session_(std::move(session)) {}

const std::set<HTTPCode>& HTTPClient::retryCodes() {
  static const std::set<HTTPCode> codes{HTTPCode::serverErrorInternalServerError, HTTPCode::serverErrorNotImplemented,
                                        HTTPCode::serverErrorBadGateway, HTTPCode::serverErrorServiceUnavailable,
                                        HTTPCode::serverErrorGatewayTimeout};
  return codes;
}

std::shared_ptr<platform::URLSession> HTTPClient::makeSession(std::shared_ptr<platform::Scheduler> scheduler) {
  auto configuration = platform::URLSessionConfiguration::defaultSessionConfiguration();
  configuration.requestCachePolicy = platform::URLRequestCachePolicy::reloadIgnoringLocalCacheData;
  return platform::URLSession::make(std::move(configuration), std::move(scheduler));
}

std::optional<RetryPolicyException> HTTPClient::classify(const std::shared_ptr<const platform::URLResponse>& response,
                                                         const std::optional<platform::URLError>& error) {
  if (const auto* http = platform::asHTTPURLResponse(response)) {
    const int status = http->statusCode();
    if (status == 200) {
      Logger::log("✅ Upload response with status code: " + std::to_string(status), LogLevel::qa);
      return std::nullopt;
    }
    if (auto code = httpCodeFromRaw(status)) {
      if (retryCodes().count(*code) == 0) return RetryPolicyException{kFailureDescription, RetryPolicy::drop};
      return RetryPolicyException{kFailureDescription, RetryPolicy::retry};
    }
    // A status the client doesn't know counts as no answer at all.
    return RetryPolicyException{kFailureDescription, RetryPolicy::retry};
  }
  if (error) Logger::log("Upload failed with error: " + error->localizedDescription(), LogLevel::qa);
  return RetryPolicyException{kFailureDescription, RetryPolicy::retry};
}

void HTTPClient::send(const platform::URLRequest& request, Completion completion) const {
  if (verboseLogging()) Logger::log("✉️ Send request to: " + request.url.absoluteString(), LogLevel::qa);
  auto shared = std::make_shared<Completion>(std::move(completion));
  std::shared_ptr<platform::URLSessionDataTask> task;
  if (session_) {
    task = session_->dataTaskWithRequest(
        request, [shared](std::optional<platform::Data> data, std::shared_ptr<const platform::URLResponse> response,
                          std::optional<platform::URLError> error) {
          auto failure = classify(response, error);
          if (!*shared) return;
          if (failure) {
            (*shared)(SendResult::failure(std::move(*failure)));
          } else {
            (*shared)(SendResult::success(data.value_or(platform::Data{})));
          }
        });
  }
  if (task) {
    task->resume();
  } else if (*shared) {
    // A session that made no task will never answer: the request counts as unanswered.
    (*shared)(SendResult::failure(RetryPolicyException{kFailureDescription, RetryPolicy::retry}));
  }
}

}  // namespace obx
