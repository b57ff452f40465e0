// Metrics: the launch counter of the screen events and the SDK version text they report.
// `appLaunchesSessions` starts at 1 and grows by one at each move to the background; it is read on
// the analytics queues and written on the analytics queue, so it is atomic.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace obx {

class SDKConfiguration;

class Metrics {
 public:
  static constexpr const char* kSDKVersionKey = "Ombrix OBX Version";

  explicit Metrics(std::shared_ptr<SDKConfiguration> configuration, std::int64_t appLaunchesSessions = 1);

  std::int64_t appLaunchesSessions() const { return appLaunchesSessions_.load(); }
  void incrementAppLaunchesSessions() { appLaunchesSessions_.fetch_add(1); }

  // The SDK's version from its own bundle, else "unknown"; for a multiplatform host the platform's
  // version followed by " (", the SDK's version and ")".
  std::string version() const;

 private:
  std::shared_ptr<SDKConfiguration> configuration_;
  std::atomic<std::int64_t> appLaunchesSessions_;
};

}  // namespace obx
