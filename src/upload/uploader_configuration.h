// UploaderConfiguration: the upload's view of the SDK's settings. `common()` is a copy of the
// current merged record, taken afresh on each call, so a live configuration that arrives between
// two cycles steers the next one. Any thread.
#pragma once

#include <memory>

#include "config/sdk_configuration.h"

namespace obx {

class UploaderConfiguration {
 public:
  explicit UploaderConfiguration(std::shared_ptr<SDKConfiguration> configuration)
      : configuration_(std::move(configuration)) {}

  Common common() const { return configuration_ ? configuration_->common() : Common{}; }
  const std::shared_ptr<SDKConfiguration>& sdkConfiguration() const { return configuration_; }

 private:
  std::shared_ptr<SDKConfiguration> configuration_;
};

}  // namespace obx
