// NetworkFeature: the capture of the application's requests under the registry key "Network",
// registered while the configuration's networkAnalytics is true. Destroying it destroys its core,
// which puts the URL session's factory operations back.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "network/network_core.h"

namespace obx {

class NetworkFeature final : public Feature {
 public:
  explicit NetworkFeature(std::shared_ptr<NetworkCore> core) : core(std::move(core)) {}

  std::string key() const override { return FeatureKey::kNetwork; }

  const std::shared_ptr<NetworkCore> core;
};

}  // namespace obx
