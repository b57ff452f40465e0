// Uploader: sends the requests of one screen. It checks the authorization gate, then sends the
// requests one after another through HTTPRetrying with the configuration's `retryingTimes` and
// `retryingDelay`, each only once the one before has finished for good; the first failure ends
// the upload. Callable from any thread; the completion runs on the queue that finished the last send.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "config/sdk_configuration.h"
#include "upload/http_retrying.h"
#include "upload/upload_authorized.h"

namespace obx {

class Uploader {
 public:
  using Completion = std::function<void(SendResult result)>;

  static constexpr const char* kNoRequestDescription =
      "Error creating requests. There is no request successfully created.";

  Uploader(std::shared_ptr<UploadAuthorized> authorizer, std::shared_ptr<HTTPRetrying> retrying,
           std::shared_ptr<SDKConfiguration> configuration);

  // Completes with the data of the last response when every request succeeded. Without requests:
  // FileError kNoRequestDescription (the caller logs it). While not authorized:
  // UnauthorizedUploadException "Unauthorized upload!", and nothing is sent. Otherwise the error of
  // the first request that failed.
  void upload(std::vector<platform::URLRequest> requests, Completion completion) const;

  // Sets the shared try counter back to 0; called at the start of each upload pass.
  void resetCounter() const { retrying_->resetCounter(); }

  const std::shared_ptr<UploadAuthorized>& authorizer() const { return authorizer_; }
  const std::shared_ptr<HTTPRetrying>& retrying() const { return retrying_; }
  const std::shared_ptr<SDKConfiguration>& configuration() const { return configuration_; }

 private:
  struct Pass;
  static void sendNext(std::shared_ptr<Pass> pass);

  std::shared_ptr<UploadAuthorized> authorizer_;
  std::shared_ptr<HTTPRetrying> retrying_;
  std::shared_ptr<SDKConfiguration> configuration_;
};

}  // namespace obx
