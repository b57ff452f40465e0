// Feature: one capability of the SDK under a registry key. The registry in Core holds the only
// strong reference to a feature; unregistering destroys it, and its core's destructor undoes what
// it set up (hooks, subscriptions, timers).
#pragma once

#include <string>

namespace obx {

namespace FeatureKey {
inline constexpr const char* kUpload = "Upload";
inline constexpr const char* kNetwork = "Network";
inline constexpr const char* kCrashReport = "CrashReport";
inline constexpr const char* kRUM = "RUM";
inline constexpr const char* kSVR = "SVR";
inline constexpr const char* kBridge = "Bridge";
}  // namespace FeatureKey

class Feature {
 public:
  virtual ~Feature() = default;
  virtual std::string key() const = 0;
};

}  // namespace obx
