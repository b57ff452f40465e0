#include "upload/uploader.h"

namespace obx {

struct Uploader::Pass {
  std::vector<platform::URLRequest> requests;
  std::size_t next = 0;
  int retryingTimes = 0;
  double retryingDelay = 0;
  std::weak_ptr<HTTPRetrying> retrying;
  Completion completion;
  SendResult last;
};

Uploader::Uploader(std::shared_ptr<UploadAuthorized> authorizer, std::shared_ptr<HTTPRetrying> retrying,
                   std::shared_ptr<SDKConfiguration> configuration)
    : authorizer_(std::move(authorizer)), retrying_(std::move(retrying)), configuration_(std::move(configuration)) {}

void Uploader::upload(std::vector<platform::URLRequest> requests, Completion completion) const {
  auto complete = [&completion](SendResult result) {
    if (completion) completion(std::move(result));
  };
  if (requests.empty()) {
    complete(SendResult::failure(FileError{kNoRequestDescription}));
    return;
  }
  if (authorizer_ && authorizer_->status.load() != Authorization::authorized) {
    complete(SendResult::failure(UnauthorizedUploadException{}));
    return;
  }
  auto pass = std::make_shared<Pass>();
  pass->requests = std::move(requests);
  const Common common = configuration_ ? configuration_->common() : Common{};
  pass->retryingTimes = common.retryingTimes;
  pass->retryingDelay = common.retryingDelay;
  pass->retrying = retrying_;
  pass->completion = std::move(completion);
  sendNext(std::move(pass));
}

void Uploader::sendNext(std::shared_ptr<Pass> pass) {
  auto retrying = pass->retrying.lock();
  if (!retrying) return;
  const platform::URLRequest& request = pass->requests[pass->next];
  // The next request leaves from the semaphore, that is once this one is finished for good and
  // the shared counter has been settled.
  retrying->send(
      request, pass->retryingTimes, pass->retryingDelay, [pass](SendResult result) { pass->last = std::move(result); },
      [pass] {
        ++pass->next;
        if (!pass->last.isSuccess() || pass->next >= pass->requests.size()) {
          if (pass->completion) pass->completion(std::move(pass->last));
          return;
        }
        sendNext(pass);
      });
}

}  // namespace obx
