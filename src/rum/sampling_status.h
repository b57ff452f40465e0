// The sampling status numbers of the event stream (0 undecided, 1 in sample, 2 out of sample), and
// the Sampling and WeightedSampling records written at each end of screen. Pure functions of one
// Common; any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "config/sdk_configuration.h"
#include "store/events/payloads.h"

namespace obx::sampling_status {

// The status of one level: the user override if present (1 true, 2 false); else the session flags
// (absent read as processing) alone when the lead flags are absent, or the greater of both by raw value.
std::int64_t status(std::optional<bool> userOverride, std::optional<SamplingFlags> session,
                    std::optional<SamplingFlags> lead);

std::int64_t experienceStatus(const Common& common);
std::int64_t analysisStatus(const Common& common);
std::int64_t replayStatus(const Common& common);

// The record of "samplingStatus".
Sampling sampling(const Common& common);
// The record of "weightedSampling"; only written under the weighted experience method.
WeightedSampling weightedSampling(const Common& common);

}  // namespace obx::sampling_status
