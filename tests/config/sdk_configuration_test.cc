#include "config/sdk_configuration.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/dispatch/real_scheduler.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class SDKConfigurationTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::LogCapture logs_;
  Configuration configuration_{"acc", "prop", Consent::analyticsAndRecording, true, false, false, false, true};

  std::unique_ptr<SDKConfiguration> make() {
    return std::make_unique<SDKConfiguration>(configuration_, Platform::native(), scheduler_);
  }
};

// Live sessionTimeout minutes become sessionLength seconds within 600...5400.
TEST(SessionTimeout, ConversionTable) {
  const std::pair<int, int> cases[] = {{-5, 600}, {0, 600}, {9, 600}, {10, 600}, {11, 660},
                                       {30, 1800}, {89, 5340}, {90, 5400}, {1000, 5400}};
  for (auto [minutes, seconds] : cases) EXPECT_EQ(sessionLengthFromTimeout(minutes), seconds) << minutes;
}

// In-sample decisions for every method and reduced flag.
TEST(Sampling, MethodAndFlagTable) {
  using M = SamplingMethod;
  using F = SamplingFlags;
  struct Case {
    std::optional<M> method;
    F flag;
    bool inSample;
  } cases[] = {
      {M::unexpected, F::processing, false},       {M::unexpected, F::appInSample, false},
      {std::nullopt, F::processing, true},         {std::nullopt, F::appInSample, true},
      {std::nullopt, F::appOutSample, false},      {std::nullopt, F::collectionInSample, true},
      {std::nullopt, F::collectionOutSample, false}, {std::nullopt, F::unexpected, false},
      {M::random, F::processing, true},            {M::random, F::appOutSample, false},
      {M::random, F::collectionOutSample, false},  {M::weighted, F::appOutSample, false},
      {M::weighted, F::collectionOutSample, true}, {M::weighted, F::unexpected, true},
      {M::purposeful, F::appOutSample, false},     {M::purposeful, F::processing, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isInSample(c.method, c.flag), c.inSample)
        << (c.method ? toString(*c.method) : "absent") << " " << toString(c.flag);
  }
}

// Two flags reduce to the greater raw value, absent counting as processing.
TEST(Sampling, FlagPairsReduceToTheGreater) {
  using F = SamplingFlags;
  EXPECT_EQ(reduceFlags(std::nullopt, std::nullopt), F::processing);
  EXPECT_EQ(reduceFlags(F::unexpected, std::nullopt), F::processing);
  EXPECT_EQ(reduceFlags(F::appInSample, F::appOutSample), F::appOutSample);
  EXPECT_EQ(reduceFlags(F::collectionOutSample, F::appInSample), F::collectionOutSample);
  EXPECT_EQ(reduceFlags(F::unexpected, F::unexpected), F::unexpected);
}

// The user's flags override the server's sampling; replay needs experience first.
TEST(Sampling, UserFlagsWinAndReplayNeedsExperience) {
  Common common;
  common.sessionCookieFlags = SamplingFlags::appOutSample;
  EXPECT_FALSE(shouldCollectExperienceData(common));
  EXPECT_EQ(webViewSamplingFlag(common), SamplingFlags::appOutSample);
  common.userSessionCookieFlag = true;
  EXPECT_TRUE(shouldCollectExperienceData(common));
  EXPECT_TRUE(shouldCollectReplayData(common));
  EXPECT_EQ(webViewSamplingFlag(common), SamplingFlags::appInSample);
  common.replaySessionFlags = SamplingFlags::collectionOutSample;
  EXPECT_FALSE(shouldCollectReplayData(common));
  common.userReplaySessionFlag = true;
  EXPECT_TRUE(shouldCollectReplayData(common));
  common.userSessionCookieFlag = false;
  EXPECT_FALSE(shouldCollectReplayData(common));
  EXPECT_EQ(webViewSamplingFlag(common), SamplingFlags::appOutSample);
}

// Construction fills Common from the application's record and logs the configuration block.
TEST_F(SDKConfigurationTest, ConstructionFillsCommonAndLogsTheBlock) {
  configuration_.endpoint = Endpoint::custom("http://127.0.0.1:1", "http://relay/");
  auto config = make();
  Common common = config->common();
  EXPECT_EQ(common.account, "acc");
  EXPECT_EQ(common.property, "prop");
  EXPECT_TRUE(common.crashReporterEnabled);
  EXPECT_FALSE(common.mobileDataEnable);
  EXPECT_TRUE(common.networkAnalytics);
  EXPECT_EQ(common.endpoint.collectionHost(), "http://127.0.0.1:1");
  EXPECT_EQ(common.imageQualityType, ImageQualityType::average);
  EXPECT_EQ(common.maskingColor, Color::fromHex("808080"));
  const char* block[] = {"OmbrixOBX configuration:",
                         "- Account: acc",
                         "- Property: prop",
                         "- Consent: analyticsAndRecording",
                         "- Crash reported enabled: true",
                         "- Send data over mobile data connection: false",
                         "- Manual screen tracking enabled: false",
                         "- Automatic masking configuration: [webViews, inputs]"};
  for (const char* line : block) EXPECT_TRUE(logs_.contains(line, LogLevel::customer)) << line;
}

// A live record clears the unconditional fields, resets the video quality when absent, and keeps
// maxScreenDuration and batchTime when absent.
TEST_F(SDKConfigurationTest, ApplyLiveClearsOrKeepsAsEachFieldSays) {
  auto config = make();
  config->editLiveConfiguration([](LiveConfiguration& live) {
    live.videoQualityType = VideoQualityType::ultra;
    live.maxScreenDuration = 9;
    live.batchTime = 3.0;
    live.sessionTimeout = 11;
    live.screensMasking = StringList{"Login"};
  });
  config->applyLiveConfiguration();
  Common first = config->common();
  EXPECT_EQ(first.videoQualityType, VideoQualityType::ultra);
  EXPECT_EQ(first.maxScreenDuration, 9);
  EXPECT_EQ(first.batchTime, 3.0);
  EXPECT_EQ(first.sessionLength, 660);
  ASSERT_TRUE(first.screensMasking);

  config->editLiveConfiguration([](LiveConfiguration& live) { live = LiveConfiguration{}; });
  config->applyLiveConfiguration();
  Common second = config->common();
  EXPECT_EQ(second.videoQualityType, VideoQualityType::average);
  EXPECT_EQ(second.maxScreenDuration, 9);
  EXPECT_EQ(second.batchTime, 3.0);
  EXPECT_EQ(second.sessionLength, 660);
  EXPECT_FALSE(second.screensMasking);
}

// Quality and colour: the user's values win unless the server overrides user configuration.
TEST_F(SDKConfigurationTest, QualityAndColorFollowTheOverrideSwitch) {
  auto config = make();
  config->editLiveConfiguration([](LiveConfiguration& live) {
    live.imageQualityType = ImageQualityType::low;
    live.maskingColor = "FF0000";
  });
  config->applyLiveConfiguration();
  EXPECT_EQ(config->common().imageQualityType, ImageQualityType::low);
  EXPECT_EQ(config->common().maskingColor, Color::fromHex("FF0000"));

  config->setImageQuality(ImageQualityType::high);
  config->setMaskingColor(Color{0, 0, 1, 1});
  EXPECT_EQ(config->common().imageQualityType, ImageQualityType::high);
  EXPECT_EQ(config->common().maskingColor, (Color{0, 0, 1, 1}));
  EXPECT_TRUE(logs_.contains("Set image quality to high", LogLevel::customer));
  EXPECT_TRUE(logs_.contains("We use the user configuration", LogLevel::developer));

  config->editLiveConfiguration([](LiveConfiguration& live) { live.useLiveConfiguration = true; });
  config->applyLiveConfiguration();
  config->setImageQuality(ImageQualityType::ultra);
  config->setMaskingColor(Color{0, 1, 0, 1});
  EXPECT_EQ(config->common().imageQualityType, ImageQualityType::low);
  EXPECT_EQ(config->common().maskingColor, Color::fromHex("FF0000"));
  EXPECT_TRUE(logs_.contains("The image quality is overwritten with the following quality: low"));
  EXPECT_TRUE(logs_.contains("The masking color is overwritten with the following color: FF0000"));
  EXPECT_TRUE(logs_.contains("We use live configuration", LogLevel::developer));
}

// enableAutoMasking([all]) then disableAutoMasking([inputs]) leaves images, labels, webViews.
TEST_F(SDKConfigurationTest, AutoMaskingLists) {
  auto config = make();
  config->enableAutoMasking({MaskAutomatic::all});
  EXPECT_EQ(config->common().maskingAutomatic,
            (std::vector{MaskAutomatic::images, MaskAutomatic::inputs, MaskAutomatic::labels, MaskAutomatic::webViews}));
  config->disableAutoMasking({MaskAutomatic::inputs});
  EXPECT_EQ(config->common().maskingAutomatic,
            (std::vector{MaskAutomatic::images, MaskAutomatic::labels, MaskAutomatic::webViews}));
  EXPECT_TRUE(logs_.contains("Automatic masking configuration: [images, labels, webViews]", LogLevel::customer));
  config->enableAutoMasking({MaskAutomatic::inputs, MaskAutomatic::labels});
  EXPECT_EQ(config->common().maskingAutomatic.back(), MaskAutomatic::inputs);
  EXPECT_EQ(config->common().maskingAutomatic.size(), 4u);
  config->disableAutoMasking({MaskAutomatic::all});
  EXPECT_TRUE(config->common().maskingAutomatic.empty());
}

// Every apply publishes Common to observers on their queue, in order.
TEST_F(SDKConfigurationTest, AppliesPublishInOrder) {
  auto config = make();
  auto queue = platform::DispatchQueue::makeSerial(scheduler_, "observer");
  std::vector<Consent> seen;
  auto observer = ObserverValue<Common>::make(queue, [&](const Common& now, const Common&) {
    seen.push_back(now.userConsents);
  });
  config->addObserver(observer);
  config->setConsent(Consent::none);
  config->setConsent(Consent::analytics);
  EXPECT_TRUE(seen.empty());
  scheduler_->runUntilIdle();
  EXPECT_EQ(seen, (std::vector{Consent::none, Consent::analytics}));
}

// Colours parse from hexadecimal text as the platform's scanner does.
TEST(ColorTest, HexParsing) {
  struct Case {
    const char* text;
    Color expected;
  } cases[] = {
      {"808080", {128 / 255.0, 128 / 255.0, 128 / 255.0, 1}},
      {"#FF0000", {1, 0, 0, 1}},
      {"00ff00", {0, 1, 0, 1}},
      {"zz", {0, 0, 0, 1}},
      {"", {0, 0, 0, 1}},
      {"0000FFjunk", {0, 0, 1, 1}},
  };
  for (const auto& c : cases) EXPECT_EQ(Color::fromHex(c.text), c.expected) << c.text;
  EXPECT_EQ(Color::fromHex("FF0000").description(), "UIExtendedSRGBColorSpace 1 0 0 1");
}

// Two threads applying changes at once (as a setting changed on the main thread and the live
// document on its own queue do): observers receive the values in the order they were made, the last one last.
TEST(SDKConfigurationRace, PublicationsKeepTheOrderOfTheValues) {
  auto scheduler = std::make_shared<platform::RealScheduler>();
  SDKConfiguration configuration(
      Configuration("acc", "prop", Consent::analyticsAndRecording, true, false, false, false, true),
      Platform::native(), scheduler);
  std::vector<double> received;
  std::atomic<int> deliveries{0};
  configuration.addObserver(ObserverValue<Common>::make(
      platform::DispatchQueue::makeSerial(scheduler, "test.observer"), [&](const Common& common, const Common&) {
        received.push_back(common.batchTime);
        ++deliveries;
      }));
  constexpr int kPerThread = 3000;
  double stamp = 0;  // changed only under the configuration's lock
  std::atomic<int> finished{0};
  for (int thread = 0; thread < 2; ++thread) {
    auto queue = platform::DispatchQueue::makeSerial(scheduler, "test.applier." + std::to_string(thread));
    queue->async([&] {
      for (int i = 0; i < kPerThread; ++i) {
        configuration.editLiveConfiguration([&](LiveConfiguration& live) { live.batchTime = ++stamp; });
        configuration.applyLiveConfiguration();
      }
      ++finished;
    });
  }
  ASSERT_TRUE(scheduler->runMainLoop([&] { return finished.load() == 2 && deliveries.load() == 2 * kPerThread; }, 60.0));
  ASSERT_EQ(received.size(), static_cast<std::size_t>(2 * kPerThread));
  std::size_t backwards = 0;
  for (std::size_t i = 1; i < received.size(); ++i) {
    if (received[i] < received[i - 1]) ++backwards;
  }
  EXPECT_EQ(backwards, 0u);
  EXPECT_EQ(received.back(), configuration.common().batchTime);
}

}  // namespace
}  // namespace obx
