// The conversions of a received live configuration as Common shows them, the strict decoding of
// the fetched document with its fallback, and sampling values built from plain integers.
#include <gtest/gtest.h>

#include <climits>

#include "config/session_configuration.h"
#include "core/configuration_api.h"
#include "platform/dispatch/manual_scheduler.h"
#include "store/cache_controller.h"
#include "store/store_test_support.h"
#include "testing/fake_url_session.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"
#include "upload/http_retrying.h"

namespace obx {
namespace {

using testing::FakeURLSession;

class LiveConfigurationTablesTest : public ::testing::Test {
 protected:
  std::shared_ptr<SDKConfiguration> makeConfiguration(std::shared_ptr<CacheController> cache = nullptr) {
    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration.endpoint = Endpoint::custom("https://collect.example.test", "https://portal.example.test/");
    return std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler_, std::move(cache));
  }
  Common received(const std::string& document) {
    auto configuration = makeConfiguration();
    auto decoded = SessionConfiguration::decode(document);
    EXPECT_TRUE(decoded) << document;
    if (decoded) configuration->updateLiveConfiguration(*decoded);
    return configuration->common();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
};

// A received sessionTimeout (minutes) becomes sessionLength (seconds), kept within 600...5400; with
// no value the default 1800 stays.
TEST_F(LiveConfigurationTablesTest, SessionTimeoutThroughTheUpdate) {
  const std::pair<const char*, int> cases[] = {
      {R"({"qv_sessionTimeout": 9})", 600},     {R"({"qv_sessionTimeout": 10})", 600},
      {R"({"qv_sessionTimeout": 11})", 660},    {R"({"qv_sessionTimeout": 89})", 5340},
      {R"({"qv_sessionTimeout": 90})", 5400},   {R"({"qv_sessionTimeout": 1000})", 5400},
      {R"({"qv_sessionTimeout": 0})", 600},     {"{}", 1800},
  };
  for (const auto& [document, seconds] : cases) EXPECT_EQ(received(document).sessionLength, seconds) << document;
}

// msc_timeToLive days become maxTimeFileSaved seconds (15 days without it); the bridge is allowed
// unless the server says false.
TEST_F(LiveConfigurationTablesTest, TimeToLiveAndBridgeDefaults) {
  const struct {
    const char* document;
    double maxTimeFileSaved;
    bool bridge;
  } cases[] = {
      {"{}", 1296000.0, true},
      {R"({"msc_timeToLive": 7})", 604800.0, true},
      {R"({"msc_timeToLive": 1, "msc_allowBridgeCommunication": true})", 86400.0, true},
      {R"({"msc_timeToLive": 0, "msc_allowBridgeCommunication": false})", 0.0, false},
  };
  for (const auto& c : cases) {
    Common common = received(c.document);
    EXPECT_EQ(common.maxTimeFileSaved, c.maxTimeFileSaved) << c.document;
    EXPECT_EQ(common.allowBridgeCommunication, c.bridge) << c.document;
    EXPECT_TRUE(common.isLiveConfigFinished) << c.document;
  }
}

// A fetched document with one enumeration value out of range is refused whole: none of its values
// are applied, the cached document steers instead, and the configuration is finished all the same.
TEST_F(LiveConfigurationTablesTest, OutOfRangeValueFailsTheWholeFetchedDocument) {
  auto readWrite = platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write");
  auto delegateQueue = platform::DispatchQueue::makeSerial(scheduler_, "session-delegate");
  const struct {
    const char* body;
    bool applied;
  } cases[] = {
      {R"({"qv_sessionTimeout": 20, "qv_sessCookieFlags": 5})", false},
      {R"({"qv_sessionTimeout": 20, "replayLeadFlags": -2})", false},
      {R"({"qv_sessionTimeout": 20, "qv_analysisDataSampleMethod": 3})", false},
      {R"({"qv_sessionTimeout": 20, "vs_imageQuality": 5})", false},
      {R"({"qv_sessionTimeout": 20, "vs_videoQuality": -1})", false},
      {R"({"qv_sessionTimeout": 20, "qv_sessCookieFlags": 4})", true},
  };
  for (const auto& c : cases) {
    auto cache = CacheController::make(readWrite);
    LiveConfiguration cached;
    cached.sessionCookieFlags = SamplingFlags::appInSample;
    cached.maxTimeFileSaved = 86400.0;
    std::string text = encodeLiveConfiguration(cached);
    cache->save("config", std::vector<std::uint8_t>(text.begin(), text.end()));
    scheduler_->runUntilIdle();

    auto configuration = makeConfiguration(cache);
    auto session = std::make_shared<FakeURLSession>(delegateQueue);
    std::string body = c.body;
    session->setFallback(FakeURLSession::Outcome::status(200, platform::Data(body.begin(), body.end())));
    auto wifi = std::make_shared<testing::ManualReachability>(scheduler_, ReachabilityConnection::wifi);
    auto retrying = std::make_shared<HTTPRetrying>(std::make_shared<HTTPClient>(session), wifi, scheduler_);
    ConfigurationAPI api(retrying, configuration, scheduler_);
    api.fetchConfiguration();
    scheduler_->runUntilIdle();

    Common common = configuration->common();
    EXPECT_EQ(session->sendCount(), 1u) << c.body;
    EXPECT_TRUE(common.isLiveConfigFinished) << c.body;
    if (c.applied) {
      EXPECT_EQ(common.sessionLength, 1200) << c.body;
      EXPECT_EQ(common.sessionCookieFlags, SamplingFlags::collectionOutSample) << c.body;
      EXPECT_EQ(common.maxTimeFileSaved, 1296000.0) << c.body;
    } else {
      EXPECT_EQ(common.sessionLength, 1800) << c.body;
      EXPECT_EQ(common.sessionCookieFlags, SamplingFlags::appInSample) << c.body;
      EXPECT_EQ(common.maxTimeFileSaved, 86400.0) << c.body;
    }
  }
}

// A sampling value built from a plain integer is `unexpected` out of range, where the strict
// decoding of a document gives nothing.
TEST(SamplingFromIntegers, OutOfRangeIsUnexpected) {
  const std::pair<int, SamplingMethod> methods[] = {
      {INT_MIN, SamplingMethod::unexpected}, {-2, SamplingMethod::unexpected}, {-1, SamplingMethod::unexpected},
      {0, SamplingMethod::random},           {1, SamplingMethod::weighted},    {2, SamplingMethod::purposeful},
      {3, SamplingMethod::unexpected},       {INT_MAX, SamplingMethod::unexpected},
  };
  for (auto [raw, method] : methods) {
    EXPECT_EQ(samplingMethodOrUnexpected(raw), method) << raw;
    EXPECT_EQ(samplingMethodFromRaw(raw).has_value(), raw >= -1 && raw <= 2) << raw;
  }
  const std::pair<int, SamplingFlags> flags[] = {
      {-2, SamplingFlags::unexpected},         {-1, SamplingFlags::unexpected},
      {0, SamplingFlags::processing},          {1, SamplingFlags::appInSample},
      {2, SamplingFlags::appOutSample},        {3, SamplingFlags::collectionInSample},
      {4, SamplingFlags::collectionOutSample}, {5, SamplingFlags::unexpected},
      {100, SamplingFlags::unexpected},
  };
  for (auto [raw, flag] : flags) {
    EXPECT_EQ(samplingFlagsOrUnexpected(raw), flag) << raw;
    EXPECT_EQ(samplingFlagsFromRaw(raw).has_value(), raw >= -1 && raw <= 4) << raw;
  }
}

}  // namespace
}  // namespace obx
