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

// The status number and the collection predicates side by side: they differ on purpose, as the
// number reports the flags while the predicate reads them through the method.
TEST(SamplingStatus, StatusNumbersBesideThePredicates) {
  struct Case {
    const char* name;
    std::optional<M> method;
    std::optional<F> session;
    std::optional<F> lead;
    std::optional<bool> user;
    std::int64_t status;
    bool experience;
    bool replay;
  } cases[] = {
      {"nothing decided, random", M::random, std::nullopt, std::nullopt, std::nullopt, 0, true, true},
      {"nothing decided, no method", std::nullopt, std::nullopt, std::nullopt, std::nullopt, 0, true, true},
      {"lead collectionInSample beats session appOutSample", std::nullopt, F::appOutSample, F::collectionInSample,
       std::nullopt, 1, true, true},
      {"purposeful collectionOutSample", M::purposeful, F::collectionOutSample, std::nullopt, std::nullopt, 2, true,
       true},
      {"purposeful appOutSample", M::purposeful, F::appOutSample, std::nullopt, std::nullopt, 2, false, false},
      {"random collectionOutSample", M::random, F::collectionOutSample, std::nullopt, std::nullopt, 2, false, false},
      {"unexpected method", M::unexpected, F::appInSample, F::collectionInSample, std::nullopt, 1, false, false},
      {"unexpected method, user in", M::unexpected, F::appOutSample, std::nullopt, true, 1, true, true},
      {"user out", M::random, F::appInSample, std::nullopt, false, 2, false, false},
  };
  for (const auto& c : cases) {
    Common common;
    common.experienceDataSampleMethod = c.method;
    common.sessionCookieFlags = c.session;
    common.leadCookieFlags = c.lead;
    common.userSessionCookieFlag = c.user;
    EXPECT_EQ(sampling_status::experienceStatus(common), c.status) << c.name;
    EXPECT_EQ(shouldCollectExperienceData(common), c.experience) << c.name;
    EXPECT_EQ(shouldCollectReplayData(common), c.replay) << c.name;
  }

  // Under weighted both reported statuses follow the user's override alone: 1 without one, whatever
  // the server's flags, and 2 when the user is out.
  for (F flag : {F::unexpected, F::processing, F::appOutSample, F::collectionOutSample}) {
    Common common;
    common.experienceDataSampleMethod = M::weighted;
    common.sessionCookieFlags = flag;
    common.leadCookieFlags = flag;
    common.analysisSessionFlags = flag;
    Sampling record = sampling_status::sampling(common);
    EXPECT_EQ(record.experienceDataStatus, 1) << toString(flag);
    EXPECT_EQ(record.analysisDataStatusSession, 1) << toString(flag);
    common.userSessionCookieFlag = false;
    record = sampling_status::sampling(common);
    EXPECT_EQ(record.experienceDataStatus, 2) << toString(flag);
    EXPECT_EQ(record.analysisDataStatusSession, 2) << toString(flag);
  }
}

}  // namespace
}  // namespace obx
