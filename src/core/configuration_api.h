// ConfigurationAPI: fetches the live-configuration document for the account and property once per
// initialize, on "obx.ombrix.configuration", and hands the result to SDKConfiguration: the decoded
// document, or the cached one when the server cannot be reached or sends something undecodable.
#pragma once

#include <memory>
#include <optional>

#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/net/url_request.h"

namespace obx {

class HTTPRetrying;

class ConfigurationAPI {
 public:
  ConfigurationAPI(std::shared_ptr<HTTPRetrying> retrying, std::shared_ptr<SDKConfiguration> configuration,
                   std::shared_ptr<platform::Scheduler> scheduler);

  void fetchConfiguration();
  // GET of "<collection host>/i/<account>/<property>/app.session", or absent when that is no URL.
  std::optional<platform::URLRequest> request() const;

 private:
  std::shared_ptr<HTTPRetrying> retrying_;
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<platform::DispatchQueue> configurationQueue_;
};

}  // namespace obx
