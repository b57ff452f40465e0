#include "rum/sampling_status.h"

#include <gtest/gtest.h>

namespace obx {
namespace {

using F = SamplingFlags;
using M = SamplingMethod;

// Status of one level from the user override, the session flags and the lead flags.
TEST(SamplingStatus, LevelTable) {
  struct Case {
    std::optional<bool> user;
    std::optional<F> session;
    std::optional<F> lead;
    std::int64_t status;
  } cases[] = {
      {std::nullopt, std::nullopt, std::nullopt, 0},
      {std::nullopt, F::unexpected, std::nullopt, 0},
      {std::nullopt, F::processing, std::nullopt, 0},
      {std::nullopt, F::appInSample, std::nullopt, 1},
      {std::nullopt, F::collectionInSample, std::nullopt, 1},
      {std::nullopt, F::appOutSample, std::nullopt, 2},
      {std::nullopt, F::collectionOutSample, std::nullopt, 2},
      // With lead flags the greater raw value wins.
      {std::nullopt, F::appOutSample, F::collectionInSample, 1},
      {std::nullopt, F::collectionOutSample, F::appInSample, 2},
      {std::nullopt, std::nullopt, F::appOutSample, 2},
      {std::nullopt, std::nullopt, F::unexpected, 0},
      {std::nullopt, F::unexpected, F::unexpected, 0},
      // The user override wins over everything.
      {true, F::appOutSample, F::collectionOutSample, 1},
      {false, F::appInSample, F::collectionInSample, 2},
      {false, std::nullopt, std::nullopt, 2},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(sampling_status::status(c.user, c.session, c.lead), c.status)
        << (c.user ? (*c.user ? "user true " : "user false ") : "no user ")
        << (c.session ? static_cast<int>(*c.session) : 99) << " " << (c.lead ? static_cast<int>(*c.lead) : 99);
  }
}

// The samplingStatus record reads each level from its own fields, and the page status from userScreenFlag.
TEST(SamplingStatus, RecordFromTheThreeLevels) {
  Common common;
  common.sessionCookieFlags = F::appInSample;
  common.analysisSessionFlags = F::collectionOutSample;
  common.replayLeadFlags = F::appOutSample;
  Sampling record = sampling_status::sampling(common);
  EXPECT_EQ(record.experienceDataStatus, 1);
  EXPECT_EQ(record.analysisDataStatusSession, 2);
  EXPECT_EQ(record.replayDataStatus, 2);
  EXPECT_FALSE(record.analysisDataStatusPage.has_value());

  common.userScreenFlag = true;
  EXPECT_EQ(sampling_status::sampling(common).analysisDataStatusPage, 1);
  common.userScreenFlag = false;
  EXPECT_EQ(sampling_status::sampling(common).analysisDataStatusPage, 2);
}

// Under the weighted method both experience and analysis statuses follow userSessionCookieFlag only.
TEST(SamplingStatus, WeightedRecord) {
  Common common;
  common.experienceDataSampleMethod = M::weighted;
  common.sessionCookieFlags = F::appOutSample;
  common.analysisSessionFlags = F::appOutSample;
  common.replaySessionFlags = F::collectionInSample;
  Sampling record = sampling_status::sampling(common);
  EXPECT_EQ(record.experienceDataStatus, 1);
  EXPECT_EQ(record.analysisDataStatusSession, 1);
  EXPECT_EQ(record.replayDataStatus, 1);

  common.userSessionCookieFlag = false;
  record = sampling_status::sampling(common);
  EXPECT_EQ(record.experienceDataStatus, 2);
  EXPECT_EQ(record.analysisDataStatusSession, 2);
}

// weightedSampling says "weighted" and collects video and data unless the experience status is 2.
TEST(SamplingStatus, WeightedSamplingRecord) {
  Common common;
  common.experienceDataSampleMethod = M::weighted;
  EXPECT_EQ(sampling_status::weightedSampling(common), (WeightedSampling{true, true, "weighted"}));
  common.sessionCookieFlags = F::collectionOutSample;
  EXPECT_EQ(sampling_status::weightedSampling(common), (WeightedSampling{false, false, "weighted"}));
}

}  // namespace
}  // namespace obx
