#include "rum/sampling_status.h"

#include <algorithm>

namespace obx::sampling_status {
namespace {

std::int64_t statusOf(SamplingFlags flags) {
  switch (flags) {
    case SamplingFlags::appInSample:
    case SamplingFlags::collectionInSample: return 1;
    case SamplingFlags::appOutSample:
    case SamplingFlags::collectionOutSample: return 2;
    default: return 0;
  }
}

}  // namespace

std::int64_t status(std::optional<bool> userOverride, std::optional<SamplingFlags> session,
                    std::optional<SamplingFlags> lead) {
  if (userOverride) return *userOverride ? 1 : 2;
  SamplingFlags sessionFlags = session.value_or(SamplingFlags::processing);
  if (!lead) {
    if (sessionFlags == SamplingFlags::unexpected || sessionFlags == SamplingFlags::processing) return 0;
    return statusOf(sessionFlags);
  }
  return statusOf(static_cast<int>(*lead) >= static_cast<int>(sessionFlags) ? *lead : sessionFlags);
}

std::int64_t experienceStatus(const Common& common) {
  return status(common.userSessionCookieFlag, common.sessionCookieFlags, common.leadCookieFlags);
}

std::int64_t analysisStatus(const Common& common) {
  return status(common.userAnalysisSessionFlag, common.analysisSessionFlags, common.analysisLeadFlags);
}

std::int64_t replayStatus(const Common& common) {
  return status(common.userReplaySessionFlag, common.replaySessionFlags, common.replayLeadFlags);
}

Sampling sampling(const Common& common) {
  Sampling record;
  if (common.experienceDataSampleMethod == SamplingMethod::weighted) {
    std::int64_t value = common.userSessionCookieFlag.value_or(true) ? 1 : 2;
    record.experienceDataStatus = value;
    record.analysisDataStatusSession = value;
  } else {
    record.experienceDataStatus = experienceStatus(common);
    record.analysisDataStatusSession = analysisStatus(common);
  }
  record.replayDataStatus = replayStatus(common);
  if (common.userScreenFlag) record.analysisDataStatusPage = *common.userScreenFlag ? 1 : 2;
  return record;
}

WeightedSampling weightedSampling(const Common& common) {
  bool collected = experienceStatus(common) != 2;
  return WeightedSampling{collected, collected, "weighted"};
}

}  // namespace obx::sampling_status
