#include "rum/rum_sampling_handle.h"

#include <gtest/gtest.h>

#include "platform/dispatch/manual_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using F = SamplingFlags;
using M = SamplingMethod;

class RUMSamplingHandleTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  std::shared_ptr<SDKConfiguration> configuration_ = std::make_shared<SDKConfiguration>(
      Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false),
      Platform::native(), scheduler_);
  std::shared_ptr<platform::DispatchQueue> queue_ = platform::DispatchQueue::makeSerial(scheduler_, "sampling");

  std::unique_ptr<RUMSamplingHandle> makeHandle() {
    return std::make_unique<RUMSamplingHandle>(std::make_unique<RUMSamplingHandleConfig>(configuration_, queue_));
  }
  void serverSets(const std::function<void(LiveConfiguration&)>& edit) {
    configuration_->editLiveConfiguration([&](LiveConfiguration& live) {
      live = LiveConfiguration{};
      edit(live);
    });
    configuration_->applyLiveConfiguration();
  }
};

// The handle starts from the configuration's values and follows later ones only once its queue has
// run: the statuses of the three levels and the record change together.
TEST_F(RUMSamplingHandleTest, FollowsTheConfigurationOnItsQueue) {
  serverSets([](LiveConfiguration& live) { live.sessionCookieFlags = F::appInSample; });
  scheduler_->runUntilIdle();
  auto handle = makeHandle();
  EXPECT_EQ(handle->experienceStatus(), 1);

  serverSets([](LiveConfiguration& live) {
    live.sessionCookieFlags = F::appOutSample;
    live.leadCookieFlags = F::collectionInSample;
    live.analysisSessionFlags = F::collectionOutSample;
    live.replayLeadFlags = F::appOutSample;
  });
  EXPECT_EQ(handle->experienceStatus(), 1) << "changed before its queue ran";
  EXPECT_EQ(handle->analysisStatus(), 0);
  scheduler_->runUntilIdle();
  EXPECT_EQ(handle->experienceStatus(), 1);  // lead collectionInSample (3) beats session appOutSample (2)
  EXPECT_EQ(handle->analysisStatus(), 2);
  EXPECT_EQ(handle->replayStatus(), 2);
  EXPECT_EQ(handle->sampling(), (Sampling{1, 2, 2, std::nullopt}));

  // The user's retention overrides experience and replay, not analysis.
  configuration_->setRetention(false);
  scheduler_->runUntilIdle();
  EXPECT_EQ(handle->sampling(), (Sampling{2, 2, 2, std::nullopt}));
}

// weightedSampling exists only under the weighted method, collecting unless experience is out.
TEST_F(RUMSamplingHandleTest, WeightedRecordOnlyUnderWeightedMethod) {
  auto handle = makeHandle();
  const struct {
    std::optional<M> method;
    std::optional<F> session;
    std::optional<WeightedSampling> expected;
  } cases[] = {
      {std::nullopt, std::nullopt, std::nullopt},
      {M::random, F::appInSample, std::nullopt},
      {M::purposeful, F::collectionOutSample, std::nullopt},
      {M::weighted, std::nullopt, WeightedSampling{true, true, "weighted"}},
      {M::weighted, F::collectionInSample, WeightedSampling{true, true, "weighted"}},
      {M::weighted, F::collectionOutSample, WeightedSampling{false, false, "weighted"}},
  };
  for (const auto& c : cases) {
    serverSets([&](LiveConfiguration& live) {
      live.experienceDataSampleMethod = c.method;
      live.sessionCookieFlags = c.session;
    });
    scheduler_->runUntilIdle();
    EXPECT_EQ(handle->weightedSampling(), c.expected)
        << (c.method ? toString(*c.method) : "absent") << " " << (c.session ? toString(*c.session) : "absent");
  }
  // Under weighted, the record's experience and analysis statuses ignore the server's flags.
  EXPECT_EQ(handle->sampling().experienceDataStatus, 1);
  EXPECT_EQ(handle->sampling().analysisDataStatusSession, 1);
}

// The subscription ends with the handle, and a delivery already queued then changes nothing.
TEST_F(RUMSamplingHandleTest, DestructionUnsubscribes) {
  const std::size_t before = configuration_->notifier().observerCount();
  auto handle = makeHandle();
  scheduler_->runUntilIdle();
  EXPECT_EQ(configuration_->notifier().observerCount(), before + 1);
  serverSets([](LiveConfiguration& live) { live.sessionCookieFlags = F::appOutSample; });
  handle.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(configuration_->notifier().observerCount(), before);
}

}  // namespace
}  // namespace obx
