// SVRFeature: session replay under the registry key "SVR". The registry holds the only strong
// reference to it; destroying it destroys its core, which stops the replay clock and removes every
// subscription.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "svr/svr_core.h"

namespace obx {

class SVRFeature final : public Feature {
 public:
  explicit SVRFeature(std::shared_ptr<SVRCore> core) : core(std::move(core)) {}

  // Null when the core can't be built (no configuration or no store).
  static std::shared_ptr<SVRFeature> make(SVRDependencies dependencies, std::shared_ptr<DataController> dataController,
                                          std::shared_ptr<platform::Scheduler> scheduler) {
    auto core = SVRCore::make(std::move(dependencies), std::move(dataController), std::move(scheduler));
    return core ? std::make_shared<SVRFeature>(std::move(core)) : nullptr;
  }

  std::string key() const override { return FeatureKey::kSVR; }

  const std::shared_ptr<SVRCore> core;
};

}  // namespace obx
