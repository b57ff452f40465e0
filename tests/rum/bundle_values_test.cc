// Helpers that fill the info dictionaries of the main and SDK bundles. Kept in a translation unit of
// their own: the bundle of info values and the run-time class bundle share a name in the platform layer.
#include <optional>
#include <string>

#include "platform/bundle/bundle_info.h"

namespace obx::rum_testing {

void setMainBundleValue(const std::string& key, std::optional<std::string> value) {
  platform::BundleInfo::main().setObject(key, std::move(value));
}

void setSDKBundleValue(const std::string& key, std::optional<std::string> value) {
  platform::BundleInfo::sdk().setObject(key, std::move(value));
}

}  // namespace obx::rum_testing
