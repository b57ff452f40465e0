// The SDK against a collection server having a bad day: refusing statuses, server errors, a request
// never answered, connections reset, slow answers, a restart in the middle of a session. Whatever
// the retry policy does not drop on purpose arrives, and nothing is stored twice after a 200.
#include <filesystem>
#include <fstream>
#include <set>

#include "e2e_fixture.h"
#include "platform/net/url_session_configuration.h"
#include "testing/resetting_server.h"

namespace obx::e2e {
namespace {

class ServerFaultsEndToEndTest : public EndToEndTest {
 protected:
  void TearDown() override {
    EndToEndTest::TearDown();
    platform::URLSessionConfiguration::setDefaultSessionConfiguration(platform::URLSessionConfiguration{});
  }

  // The screens stored on the collector's disk (a restarted collector's included), by asset.
  std::multiset<std::string> storedAssets() const {
    std::multiset<std::string> assets;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_ / "collector", error)) {
      if (entry.path().filename() != "upload.json") continue;
      std::ifstream in(entry.path());
      assets.insert(nlohmann::json::parse(in).at("asset").get<std::string>());
    }
    return assets;
  }
};

// Each refusing or failing status ends as the retry policy says: 404 and 413 drop the screen after
// one request; 500 and 503 answered twice are retried, and the screen arrives once.
TEST_F(ServerFaultsEndToEndTest, StatusFaults) {
  struct Case {
    int status;
    std::size_t failures;
    std::size_t uploads;
    std::size_t stored;
  };
  for (const Case& c : std::vector<Case>{{404, 1, 1, 0}, {413, 1, 1, 0}, {500, 2, 3, 1}, {503, 2, 3, 1}}) {
    SCOPED_TRACE(c.status);
    startCollector([&](collector::Collector::Options& options) {
      options.failFirst = c.failures;
      options.failStatus = c.status;
    });
    leaveScreen("S", 1.0);
    startSDK();
    ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0));
    pump(2.5);
    EXPECT_EQ(collector_->statistics().uploads, c.uploads);
    EXPECT_EQ(collector_->statistics().accepted, c.stored);
    EXPECT_EQ(collector_->statistics().duplicates, 0u);
    TearDown();
    SetUp();
  }
}

// A request the server never answers ends at the request timeout and is tried again; the screen
// arrives once.
TEST_F(ServerFaultsEndToEndTest, NeverAnsweredRequestTimesOutAndIsRetried) {
  auto shortTimeout = platform::URLSessionConfiguration{};
  shortTimeout.timeoutIntervalForResource = 2.0;
  platform::URLSessionConfiguration::setDefaultSessionConfiguration(shortTimeout);
  startCollector([](collector::Collector::Options& options) {
    options.failFirst = 1;
    options.failureKind = collector::Collector::Options::FailureKind::silence;
  });
  leaveScreen("T", 1.0);
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0));
  EXPECT_EQ(collector_->statistics().uploads, 2u);
  EXPECT_EQ(collector_->statistics().failedOnPurpose, 1u);
  EXPECT_EQ(storedAssets(), std::multiset<std::string>{"T_20260101000005.zip"});
}

// Slow answers hold the worker's one request in flight; every screen still arrives once, in turn.
TEST_F(ServerFaultsEndToEndTest, SlowServerGetsEveryScreenOnce) {
  startCollector([](collector::Collector::Options& options) { options.answerDelaySeconds = 1.5; });
  leaveScreen("A", 3.0);
  leaveScreen("B", 2.0);
  leaveScreen("C", 1.0);
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 40.0));
  EXPECT_EQ(storedAssets(), (std::multiset<std::string>{"A_20260101000005.zip", "B_20260101000005.zip",
                                                        "C_20260101000005.zip"}));
  EXPECT_EQ(collector_->statistics().uploads, 3u);
}

// Connections reset while the upload is sent: the screen stays in the spool through every reset,
// and arrives once when a server answers on that port again.
TEST_F(ServerFaultsEndToEndTest, ResetConnectionsKeepTheScreenUntilItArrives) {
  testing::ResettingServer resetting;
  ASSERT_TRUE(resetting.listening());
  serverURL_ = resetting.baseURL();
  leaveScreen("R", 1.0);
  startSDK();
  auto uploadsReset = [&] {
    std::size_t count = 0;
    for (const auto& request : resetting.resetRequests()) count += request.rfind("POST /asset", 0) == 0 ? 1 : 0;
    return count;
  };
  ASSERT_TRUE(pumpUntil([&] { return uploadsReset() >= 2; }, 30.0));
  EXPECT_EQ(spooledBatches().size(), 2u);

  resetting.stop();
  startCollector([&](collector::Collector::Options& options) { options.port = resetting.port(); });
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0));
  EXPECT_EQ(storedAssets(), std::multiset<std::string>{"R_20260101000005.zip"});
  EXPECT_EQ(collector_->statistics().uploads, 1u);
}

// A collector restarted in the middle of a session, on the same port and folder: what was sent
// before stays stored once, what was spooled while it was down arrives once after.
TEST_F(ServerFaultsEndToEndTest, CollectorRestartedMidSession) {
  startCollector();
  leaveScreen("A", 2.0);
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0));
  const int port = collector_->port();
  collector_->stop();

  leaveScreen("B", 1.0);
  pump(3.0);  // the worker meets the closed port and keeps the screen
  EXPECT_FALSE(spooledBatches().empty());
  startCollector([port](collector::Collector::Options& options) { options.port = port; });
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0));
  EXPECT_EQ(storedAssets(), (std::multiset<std::string>{"A_20260101000005.zip", "B_20260101000005.zip"}));
}

}  // namespace
}  // namespace obx::e2e
