#pragma once

#include <optional>
#include <string>

namespace obx::rum_testing {

void setMainBundleValue(const std::string& key, std::optional<std::string> value);
void setSDKBundleValue(const std::string& key, std::optional<std::string> value);

}  // namespace obx::rum_testing
