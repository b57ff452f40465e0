#include "rum/rum_sampling_handle.h"

#include "rum/sampling_status.h"

namespace obx {

RUMSamplingHandle::RUMSamplingHandle(std::unique_ptr<RUMSamplingHandleConfig> configuration)
    : configuration_(std::move(configuration)) {}

Sampling RUMSamplingHandle::sampling() const { return sampling_status::sampling(configuration_->common()); }

std::int64_t RUMSamplingHandle::experienceStatus() const {
  return sampling_status::experienceStatus(configuration_->common());
}

std::int64_t RUMSamplingHandle::analysisStatus() const {
  return sampling_status::analysisStatus(configuration_->common());
}

std::int64_t RUMSamplingHandle::replayStatus() const {
  return sampling_status::replayStatus(configuration_->common());
}

std::optional<WeightedSampling> RUMSamplingHandle::weightedSampling() const {
  // One copy for both the test and the record, so they cannot disagree.
  Common common = configuration_->common();
  if (common.experienceDataSampleMethod != SamplingMethod::weighted) return std::nullopt;
  return sampling_status::weightedSampling(common);
}

}  // namespace obx
