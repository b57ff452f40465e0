// The versions the SDK reads from the bundles: the host application's and its own. Any thread.
#pragma once

#include <optional>
#include <string>

namespace obx {

// "CFBundleShortVersionString" of the host's main bundle; absent when the host did not set it.
std::optional<std::string> bundleAppVersion();

// "Ombrix OBX Version" of the SDK's own bundle, else the version the SDK was built as.
std::optional<std::string> bundleSDKVersion();

// Gives the SDK's own bundle the version it was built as, as its info dictionary would hold it,
// unless the bundle already has one. Every reader of the bundle (the "aM" records) then sees it.
void registerSDKBundleVersion();

}  // namespace obx
