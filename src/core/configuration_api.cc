#include "core/configuration_api.h"

#include "base/logger.h"
#include "base/string_format.h"
#include "config/session_configuration.h"
#include "upload/http_retrying.h"

namespace obx {

ConfigurationAPI::ConfigurationAPI(std::shared_ptr<HTTPRetrying> retrying,
                                   std::shared_ptr<SDKConfiguration> configuration,
                                   std::shared_ptr<platform::Scheduler> scheduler)
    : retrying_(std::move(retrying)),
      configuration_(std::move(configuration)),
      configurationQueue_(platform::DispatchQueue::makeSerial(std::move(scheduler), "obx.ombrix.configuration")) {}

std::optional<platform::URLRequest> ConfigurationAPI::request() const {
  Common common = configuration_->common();
  std::string text = formatWithArguments(common.configurationURLString,
                                         {common.endpoint.collectionHost(), common.account, common.property});
  auto url = platform::URL::fromString(text);
  if (!url) return std::nullopt;
  platform::URLRequest request(*url);
  request.httpMethod = "GET";
  request.timeoutInterval = 60.0;
  request.cachePolicy = platform::URLRequestCachePolicy::reloadIgnoringLocalAndRemoteCacheData;
  return request;
}

void ConfigurationAPI::fetchConfiguration() {
  auto built = request();
  if (!built) {
    Logger::log("OmbrixOBX configuration URL is not valid", LogLevel::developer);
    return;
  }
  Common common = configuration_->common();
  auto retrying = retrying_;
  std::weak_ptr<SDKConfiguration> weakConfiguration = configuration_;
  configurationQueue_->async([retrying, weakConfiguration, request = *built, tries = common.retryingTimes,
                              delay = common.retryingDelay] {
    retrying->send(request, tries, delay, [weakConfiguration](SendResult result) {
      auto configuration = weakConfiguration.lock();
      if (!configuration) return;
      if (result.data) {
        std::string body(result.data->begin(), result.data->end());
        if (auto document = SessionConfiguration::decode(body)) {
          configuration->updateLiveConfiguration(*document);
          return;
        }
      }
      configuration->fallBackToCachedConfiguration();
    });
  });
}

}  // namespace obx
