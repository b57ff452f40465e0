// RUMSamplingHandle: how this session's sampling is reported in the event stream. It reads its own
// copy of Common (RUMSamplingHandleConfig) and gives the status numbers of the three levels (0
// undecided, 1 in sample, 2 out of sample), the "samplingStatus" record written at each end of
// screen, and the "weightedSampling" record under the weighted method. It draws no number itself:
// the server's method and flags and the user's overrides decide.
//
// Threads: the analytics core calls it on its queue, where the copy is also updated, so a record
// built there reflects every publication that came before it; the crash path may call it from the
// crashing thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "rum/rum_sampling_handle_config.h"
#include "store/events/payloads.h"

namespace obx {

class RUMSamplingHandle {
 public:
  explicit RUMSamplingHandle(std::unique_ptr<RUMSamplingHandleConfig> configuration);

  RUMSamplingHandleConfig& configuration() { return *configuration_; }

  // The record of "samplingStatus".
  Sampling sampling() const;
  std::int64_t experienceStatus() const;
  std::int64_t analysisStatus() const;
  std::int64_t replayStatus() const;
  // The record of "weightedSampling"; absent unless the experience method is weighted.
  std::optional<WeightedSampling> weightedSampling() const;

 private:
  std::unique_ptr<RUMSamplingHandleConfig> configuration_;
};

}  // namespace obx
