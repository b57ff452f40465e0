// UploadFeature: the upload under the registry key "Upload". It is the one feature that stays when
// consent is withdrawn or the session is sampled out, so that what was stored still leaves.
#pragma once

#include <memory>
#include <string>

#include "base/feature.h"
#include "upload/upload_core.h"

namespace obx {

class UploadFeature final : public Feature {
 public:
  explicit UploadFeature(std::shared_ptr<UploadCore> core) : core(std::move(core)) {}

  std::string key() const override { return FeatureKey::kUpload; }

  const std::shared_ptr<UploadCore> core;
};

}  // namespace obx
