// CRFeature: crash capture under the registry key "CrashReport". Destroying it puts back the host's
// own crash handlers.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "crash/cr_core.h"

namespace obx {

class CRFeature final : public Feature {
 public:
  explicit CRFeature(std::shared_ptr<CRCore> core) : core(std::move(core)) {}

  // Null when the core can't be built.
  static std::shared_ptr<CRFeature> make(CRDependencies dependencies, std::shared_ptr<platform::Scheduler> scheduler) {
    auto core = CRCore::make(std::move(dependencies), std::move(scheduler));
    return core ? std::make_shared<CRFeature>(std::move(core)) : nullptr;
  }

  std::string key() const override { return FeatureKey::kCrashReport; }

  const std::shared_ptr<CRCore> core;
};

}  // namespace obx
