#include "config/bundle_versions.h"

#include "config/build_settings.h"
#include "platform/bundle/bundle_info.h"

namespace obx {
namespace {

constexpr const char* kSDKVersionKey = "Ombrix OBX Version";
constexpr const char* kAppVersionKey = "CFBundleShortVersionString";

}  // namespace

std::optional<std::string> bundleAppVersion() {
  return platform::BundleInfo::main().objectForInfoDictionaryKey(kAppVersionKey);
}

std::optional<std::string> bundleSDKVersion() {
  return platform::BundleInfo::sdk().objectForInfoDictionaryKey(kSDKVersionKey).value_or(build::kSDKVersion);
}

void registerSDKBundleVersion() {
  auto& bundle = platform::BundleInfo::sdk();
  if (!bundle.objectForInfoDictionaryKey(kSDKVersionKey)) bundle.setObject(kSDKVersionKey, build::kSDKVersion);
}

}  // namespace obx
