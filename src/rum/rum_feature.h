// RUMFeature: the analytics feature under the registry key "RUM". The registry holds the only
// strong reference to it; destroying it destroys its core, which closes the open screen when the
// session went out of sample and removes every subscription.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "rum/rum_core.h"

namespace obx {

class RUMFeature final : public Feature {
 public:
  explicit RUMFeature(std::shared_ptr<RUMCore> core) : core(std::move(core)) {}

  // Builds the core; throws RUMCoreError as RUMCore::make does.
  static std::shared_ptr<RUMFeature> make(RUMDependencies dependencies, std::shared_ptr<DataController> dataController,
                                          std::shared_ptr<platform::Scheduler> scheduler, RUMHandles handles = {}) {
    return std::make_shared<RUMFeature>(
        RUMCore::make(std::move(dependencies), std::move(dataController), std::move(scheduler), std::move(handles)));
  }

  std::string key() const override { return FeatureKey::kRUM; }

  const std::shared_ptr<RUMCore> core;
};

}  // namespace obx
