#include "session/session_life_cycle.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "base/logger.h"
#include "config/sdk_configuration.h"
#include "lifecycle/app_life_cycle.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "store/cache_controller.h"
#include "store/store_test_support.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class CountingDelegate : public OBXDelegate {
 public:
  void liveConfig(const LiveConfigurationMultiplatform&) override {}
  void performance(const PerformanceMultiplatform&) override {}
  void sampling(const SamplingMultiplatform& sampling) override { calls.push_back(sampling); }
  std::vector<SamplingMultiplatform> calls;
};

class SessionLifeCycleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Configuration configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration.endpoint = Endpoint::custom("https://collect.example", "https://portal.example/s/");
    configuration_ = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler_);
    configuration_->setDelegate(delegate_);
    appLifeCycle_ = AppLifeCycle::make(application_->notificationCenter(), std::make_shared<Notifier<AppStateCycle>>(
                                                                               scheduler_, AppStateCycle::active, "AppStateCycle"));
    application_->notificationCenter()->addObserver(
        SessionLifeCycle::kSessionURLNotification, nullptr,
        [this](const platform::Notification& notification) {
          postedURLs_.push_back(notification.object ? notification.object->description() : "");
        });
  }

  std::shared_ptr<SessionLifeCycle> makeSessions() {
    notifier_ = std::make_shared<SessionLifeCycle::SessionNotifier>(scheduler_, std::nullopt, "SessionContext");
    auto sessions = SessionLifeCycle::make(
        scheduler_, appLifeCycle_, notifier_, configuration_, cache_,
        [this]() -> SessionLifeCycle::SessionURLCallback {
          return [this](const std::optional<std::string>& url) { callbackURLs_.push_back(url.value_or("")); };
        },
        application_->notificationCenter());
    sessions->add(SessionObserverValue::make(observerQueue_, [this](const auto& context, const auto&) {
      published_.push_back(context);
    }));
    scheduler_->runUntilIdle();
    return sessions;
  }

  // Background for `seconds`, then back.
  void backgroundTrip(double seconds) {
    application_->moveToBackground();
    scheduler_->runUntilIdle();
    scheduler_->advance(seconds);
    application_->returnToForeground();
    scheduler_->runUntilIdle();
  }

  std::string expectedURL(const SessionContext& context) const {
    return "https://portal.example/s/sg-property-" + *SessionLifeCycle::publicSessionID(context.sessionID);
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<platform::DispatchQueue> readWrite_ =
      platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write");
  std::shared_ptr<CacheController> cache_ = CacheController::make(readWrite_);
  std::shared_ptr<platform::DispatchQueue> observerQueue_ = platform::DispatchQueue::makeSerial(scheduler_, "test.sessions");
  std::shared_ptr<CountingDelegate> delegate_ = std::make_shared<CountingDelegate>();
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<AppLifeCycle> appLifeCycle_;
  std::shared_ptr<SessionLifeCycle::SessionNotifier> notifier_;
  // Publications after the first, which comes before any observer can be added.
  std::vector<std::optional<SessionContext>> published_;
  std::vector<std::string> postedURLs_;
  std::vector<std::string> callbackURLs_;
};

// The public session ID is the first "|" component without "+" and "-".
TEST(SessionLifeCycleIdentifiers, PublicSessionIDAndURLPath) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"ABC-DEF+12|other-part", "ABCDEF12"},
      {"E621E1F8-C36C-495A-93FC-0C247A3E6E5F42", "E621E1F8C36C495A93FC0C247A3E6E5F42"},
      {"plain", "plain"},
      {"", std::nullopt},
      {"|tail", std::nullopt},
  };
  for (const auto& [sessionID, expected] : cases) {
    EXPECT_EQ(SessionLifeCycle::publicSessionID(sessionID), expected) << sessionID;
  }
  EXPECT_EQ(SessionLifeCycle::sessionURL("PROP", "AB-CD|x"), "sg-PROP-ABCD");
  EXPECT_EQ(SessionLifeCycle::sessionURL("PROP", "|x"), std::nullopt);
}

// The first session opens at construction: identifiers of their forms, the lead written to the
// cache, published, the log identity set, the URL posted, the delegate told and the lines logged.
TEST_F(SessionLifeCycleTest, FirstSessionAtConstruction) {
  auto sessions = makeSessions();
  auto context = sessions->sessionContext();
  ASSERT_TRUE(context.has_value());
  EXPECT_TRUE(std::regex_match(context->sessionID, std::regex("^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}[1-9][0-9]$")))
      << context->sessionID;
  EXPECT_TRUE(std::regex_match(context->leadID, std::regex("^[0-9A-F]{32}[1-9][0-9]$"))) << context->leadID;
  EXPECT_FALSE(context->timeInBackground.has_value());
  EXPECT_EQ(cache_->read("leadID"), context->leadID);

  EXPECT_EQ(notifier_->value(), context);
  EXPECT_TRUE(published_.empty());
  const std::string publicID = *SessionLifeCycle::publicSessionID(context->sessionID);
  EXPECT_EQ(Logger::logIdentity(), publicID + "_" + context->leadID);
  EXPECT_EQ(postedURLs_, std::vector<std::string>{expectedURL(*context)});
  // The live configuration has not arrived: the facade's callback waits.
  EXPECT_TRUE(callbackURLs_.empty());
  EXPECT_EQ(delegate_->calls.size(), 1u);

  EXPECT_TRUE(logs_.contains("Session link: " + expectedURL(*context), LogLevel::customer));
  EXPECT_TRUE(logs_.contains("User retention flag has been reset", LogLevel::developer));
  EXPECT_TRUE(logs_.contains("New session detected with ID: " + context->sessionID, LogLevel::customer));
  EXPECT_TRUE(logs_.contains("OmbrixOBX created SID: " + publicID + " & LID: " + context->leadID, LogLevel::developer));
}

// Only the move to the background starts the clock: inactive alone keeps the session and publishes
// nothing. Back after exactly sessionLength seconds keeps the session; one second more opens a new
// one with the same lead and the time in background on it. A live length applies from the next return.
TEST_F(SessionLifeCycleTest, ReturnWithinAndPastSessionLength) {
  auto sessions = makeSessions();
  const SessionContext first = *sessions->sessionContext();
  application_->resignActive();
  scheduler_->advance(5000.0);
  application_->becomeActive();
  scheduler_->runUntilIdle();
  EXPECT_EQ(*sessions->sessionContext(), first);
  EXPECT_TRUE(published_.empty());
  configuration_->editCommon([](Common& common) { common.isLiveConfigFinished = true; });

  backgroundTrip(1800.0);
  SessionContext same = *sessions->sessionContext();
  EXPECT_EQ(same.sessionID, first.sessionID);
  EXPECT_EQ(same.leadID, first.leadID);
  EXPECT_EQ(same.timeInBackground, 1800.0);
  ASSERT_EQ(published_.size(), 1u);
  EXPECT_EQ(published_[0], same);
  EXPECT_EQ(postedURLs_.size(), 1u);

  backgroundTrip(1801.0);
  SessionContext next = *sessions->sessionContext();
  EXPECT_NE(next.sessionID, first.sessionID);
  EXPECT_EQ(next.leadID, first.leadID);
  EXPECT_EQ(next.timeInBackground, 1801.0);
  ASSERT_EQ(published_.size(), 2u);
  EXPECT_EQ(published_[1], next);
  EXPECT_EQ(postedURLs_.back(), expectedURL(next));
  EXPECT_EQ(callbackURLs_, std::vector<std::string>{expectedURL(next)});
  EXPECT_TRUE(logs_.contains("New session detected with ID: " + next.sessionID, LogLevel::customer));
  EXPECT_EQ(Logger::logIdentity(), *SessionLifeCycle::publicSessionID(next.sessionID) + "_" + next.leadID);

  // A live sessionTimeout shortens the session: the length is read at each return.
  configuration_->editCommon([](Common& common) { common.sessionLength = 600; });
  backgroundTrip(600.0);
  EXPECT_EQ(sessions->sessionContext()->sessionID, next.sessionID);
  backgroundTrip(600.5);
  EXPECT_NE(sessions->sessionContext()->sessionID, next.sessionID);
}

// A new process keeps the stored lead and opens a new session without time in background; with
// the lead file deleted it makes a new lead and writes it.
TEST_F(SessionLifeCycleTest, LeadSurvivesRestartsUntilDeleted) {
  SessionContext first = *makeSessions()->sessionContext();
  scheduler_->runUntilIdle();

  SessionContext second = *makeSessions()->sessionContext();
  EXPECT_EQ(second.leadID, first.leadID);
  EXPECT_NE(second.sessionID, first.sessionID);
  EXPECT_FALSE(second.timeInBackground.has_value());

  scheduler_->runUntilIdle();
  std::filesystem::path leadFile =
      sandbox_.path() / "Library" / "Application Support" / "obx.ombrix.cache" / "config" / "leadID";
  ASSERT_TRUE(std::filesystem::exists(leadFile));
  std::filesystem::remove(leadFile);

  SessionContext third = *makeSessions()->sessionContext();
  EXPECT_NE(third.leadID, first.leadID);
  scheduler_->runUntilIdle();
  EXPECT_EQ(cache_->read("leadID"), third.leadID);
}

// Retention is once per session; a new session clears it so that it works again, and tells the delegate.
TEST_F(SessionLifeCycleTest, RetentionResetsAtEachNewSession) {
  auto sessions = makeSessions();
  configuration_->setRetention(false);
  EXPECT_EQ(configuration_->common().userSessionCookieFlag, false);
  EXPECT_TRUE(configuration_->common().isUserRetention);
  configuration_->setRetention(true);
  EXPECT_TRUE(logs_.contains("User retention is already set for this session", LogLevel::qa));
  EXPECT_EQ(configuration_->common().userSessionCookieFlag, false);

  const std::size_t toldBefore = delegate_->calls.size();
  backgroundTrip(1801.0);
  Common common = configuration_->common();
  EXPECT_FALSE(common.isUserRetention);
  EXPECT_FALSE(common.userSessionCookieFlag.has_value());
  EXPECT_FALSE(common.userReplaySessionFlag.has_value());
  EXPECT_EQ(delegate_->calls.size(), toldBefore + 1);
  EXPECT_FALSE(delegate_->calls.back().stopTrackingDueToSampling);

  logs_.clear();
  configuration_->setRetention(true);
  EXPECT_FALSE(logs_.contains("User retention is already set for this session"));
  EXPECT_EQ(configuration_->common().userSessionCookieFlag, true);
}

}  // namespace
}  // namespace obx
