// BridgeFeature: the exchange of identifiers with sibling SDKs under the registry key "Bridge". Core
// keeps it registered only while the bus is in the process and the configuration allows it;
// destroying it destroys its core, which ends the subscription.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "bridge/bridge_core.h"

namespace obx {

class BridgeFeature final : public Feature {
 public:
  explicit BridgeFeature(std::shared_ptr<BridgeCore> core) : core(std::move(core)) {}

  std::string key() const override { return FeatureKey::kBridge; }

  const std::shared_ptr<BridgeCore> core;
};

}  // namespace obx
