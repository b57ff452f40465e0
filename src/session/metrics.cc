#include "session/metrics.h"

#include "config/sdk_configuration.h"
#include "platform/bundle/bundle_info.h"

namespace obx {

Metrics::Metrics(std::shared_ptr<SDKConfiguration> configuration, std::int64_t appLaunchesSessions)
    : configuration_(std::move(configuration)), appLaunchesSessions_(appLaunchesSessions) {}

std::string Metrics::version() const {
  std::string sdkVersion = platform::BundleInfo::sdk().objectForInfoDictionaryKey(kSDKVersionKey).value_or("unknown");
  if (!configuration_) return sdkVersion;
  Platform platform = configuration_->common().platform;
  if (platform.type == PlatformType::native) return sdkVersion;
  return platform.version + " (" + sdkVersion + ")";
}

}  // namespace obx
