#include "upload/upload_worker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/testing/fault_injecting_files.h"
#include "testing/fake_url_session.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"
#include "upload/upload_core.h"
#include "upload_fixture.h"

namespace obx {
namespace {

using testing::FakeURLSession;
using testing::ManualBatches;
using testing::ManualReachability;
using upload_testing::ScreenWriter;
using Outcome = FakeURLSession::Outcome;

class UploadWorkerTest : public ::testing::Test {
 protected:
  UploadWorkerTest() {
    configuration_->editCommon([](Common& common) {
      common.isLiveConfigFinished = true;
      common.endpoint = Endpoint::custom("http://collector.test", "http://collector.test/");
    });
  }

  // The retrying layer follows `retryingReachability_` when a test gives one, else the worker's.
  void startCore() {
    std::shared_ptr<ReachabilityObserving> forRetrying = reachability_;
    if (retryingReachability_) forRetrying = retryingReachability_;
    auto retrying = std::make_shared<HTTPRetrying>(std::make_shared<HTTPClient>(session_), forRetrying, scheduler_);
    auto uploader = std::make_shared<Uploader>(authorized_, retrying, configuration_);
    core_ = std::make_unique<UploadCore>(UploadDependencies{batches_, configuration_, reachability_}, controller_,
                                         uploader, scheduler_);
    scheduler_->runUntilIdle();
  }

  // Writes batches dated now, then lets them age past the resting time.
  void writeScreens(const std::vector<std::string>& batchIDs) {
    for (const auto& id : batchIDs) writer_.write(id, scheduler_->now());
    scheduler_->runUntilIdle();
    scheduler_->advance(2.5);
  }

  bool onDisk(const std::string& batchID) const { return std::filesystem::exists(spool_.sandbox().storeRoot() / batchID); }

  std::vector<std::string> sentAssets() const {
    std::vector<std::string> assets;
    for (const auto& request : session_->sentRequests()) {
      const std::string url = request.url.absoluteString();
      assets.push_back(url.substr(url.find("asset=") + 6));
    }
    return assets;
  }

  UploadWorker& worker() { return core_->uploaderWorker(); }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_, testing::Spool::Options().withPlatform(Platform{}).withPhysicalMemory(0.0)};
  testing::LogCapture logs_;
  std::shared_ptr<SDKConfiguration> configuration_ = spool_.configuration();
  std::shared_ptr<DataController> controller_ = spool_.dataController();
  ScreenWriter writer_{controller_};
  std::shared_ptr<ManualBatches> batches_ = std::make_shared<ManualBatches>(scheduler_);
  std::shared_ptr<ManualReachability> reachability_ = std::make_shared<ManualReachability>(scheduler_, ReachabilityConnection::wifi);
  std::shared_ptr<FakeURLSession> session_ =
      std::make_shared<FakeURLSession>(platform::DispatchQueue::makeSerial(scheduler_, "session-delegate"));
  std::shared_ptr<ManualReachability> retryingReachability_;
  std::shared_ptr<UploadAuthorized> authorized_ = std::make_shared<UploadAuthorized>();
  std::unique_ptr<UploadCore> core_;
};

// Until the configuration is finished the cycle only reschedules itself, every 2.0 seconds; once it
// is, an empty spool gives an empty pass each cycle.
TEST_F(UploadWorkerTest, WaitsForTheConfigurationThenCyclesEveryTwoSeconds) {
  configuration_->editCommon([](Common& common) { common.isLiveConfigFinished = false; });
  writeScreens({"A_1"});
  startCore();
  scheduler_->advance(10.0);
  EXPECT_EQ(session_->sendCount(), 0u);
  EXPECT_EQ(logs_.count("📬 Start worker to send"), 0u);
  EXPECT_EQ(logs_.count("⏳ delay worker 2.0 seconds"), 6u);  // at construction and after each of 5 cycles

  configuration_->editCommon([](Common& common) { common.isLiveConfigFinished = true; });
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), std::vector<std::string>{"A_1.zip"});
  scheduler_->advance(4.0);
  EXPECT_EQ(logs_.count("✉️ 0 to send"), 2u);
}

// The connectivity gates: which connections start a pass, with and without mobile data.
TEST_F(UploadWorkerTest, ConnectivityGates) {
  struct Case {
    ReachabilityConnection connection;
    bool mobileDataEnable;
    bool sends;
    const char* line;
  };
  const std::vector<Case> cases = {
      {ReachabilityConnection::wifi, false, true, "📬 Start worker to send"},
      {ReachabilityConnection::cellular, true, true, "📬 Start worker to send"},
      {ReachabilityConnection::cellular, false, false, "Cannot send data over cellular data"},
      {ReachabilityConnection::none, true, false, "Not connection to start worker to send"},
  };
  startCore();
  int batch = 0;
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.line);
    logs_.clear();
    const auto before = session_->sendCount();
    configuration_->editCommon([&](Common& common) { common.mobileDataEnable = testCase.mobileDataEnable; });
    reachability_->publish(testCase.connection);
    writeScreens({"S" + std::to_string(++batch) + "_1"});
    scheduler_->advance(4.0);
    EXPECT_EQ(session_->sendCount() > before, testCase.sends);
    EXPECT_GE(logs_.count(testCase.line), 1u);
    // Whatever was held back leaves as soon as the gate opens, so the next case starts clean.
    reachability_->publish(ReachabilityConnection::wifi);
    configuration_->editCommon([](Common& common) { common.mobileDataEnable = true; });
    scheduler_->advance(4.0);
  }
}

// A 200 deletes every batch of the screen; the batch being written is never sent.
TEST_F(UploadWorkerTest, AcceptedScreenIsDeletedAndTheCurrentBatchStays) {
  for (const char* id : {"A_1", "A_2", "B_1"}) {
    writeScreens({id});
    scheduler_->advance(0.5);
  }
  batches_->publish(ScreenWriter::batch("B_1", scheduler_->now()));
  startCore();
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), std::vector<std::string>{"A_2.zip"});
  EXPECT_FALSE(onDisk("A_1"));
  EXPECT_FALSE(onDisk("A_2"));
  EXPECT_TRUE(onDisk("B_1"));
  EXPECT_TRUE(logs_.contains("✅ - Finish send screen, proceed to delete directory with id A_2"));
  EXPECT_EQ(worker().screenToSendCount(), 0);
}

// In a pass of five screens whose third exhausts its tries (five, three seconds apart by default),
// the fourth and fifth are still taken in turn but go out no more, and no pass starts until the
// service is tried again.
TEST_F(UploadWorkerTest, StopInTheMiddleOfAPassEndsTheWorker) {
  session_->enqueue(Outcome::status(200));
  session_->enqueue(Outcome::status(200));
  for (int i = 0; i < 5; ++i) session_->enqueue(Outcome::status(503));
  for (const char* id : {"S1_1", "S2_1", "S3_1", "S4_1", "S5_1"}) {
    writeScreens({id});
    scheduler_->advance(0.5);  // distinct folder dates give the pass its order
  }
  startCore();
  // The configuration's defaults: five tries, three seconds apart.
  scheduler_->advance(2.0 + 2.9);
  EXPECT_EQ(session_->sendCount(), 3u);
  scheduler_->advance(0.1 + 4 * 3.0);
  EXPECT_EQ(sentAssets(), (std::vector<std::string>{"S1_1.zip", "S2_1.zip", "S3_1.zip", "S3_1.zip", "S3_1.zip",
                                                    "S3_1.zip", "S3_1.zip"}));
  EXPECT_FALSE(onDisk("S1_1"));
  EXPECT_FALSE(onDisk("S2_1"));
  for (const char* id : {"S3_1", "S4_1", "S5_1"}) EXPECT_TRUE(onDisk(id)) << id;
  EXPECT_FALSE(worker().isServiceOnline());

  scheduler_->advance(60.0);
  EXPECT_EQ(session_->sendCount(), 7u);

  // Once the recovery delay has passed, a fresh pass takes the kept screens, oldest first.
  scheduler_->advance(UploadWorker::kServiceRecoveryDelay);
  EXPECT_TRUE(worker().isServiceOnline());
  EXPECT_EQ(session_->sendCount(), 10u);
  for (const char* id : {"S3_1", "S4_1", "S5_1"}) EXPECT_FALSE(onDisk(id)) << id;
  EXPECT_EQ(worker().screenToSendCount(), 0);
}

// A screen that can never be parsed (no session event) is deleted without a request.
TEST_F(UploadWorkerTest, UnparseableScreenIsDeleted) {
  const auto context = ScreenWriter::batch("X_1", scheduler_->now());
  controller_->saveEventNow(EventType::goal, scheduler_->now(), Goal{"orphan", "EUR", 1.0f}, context);
  scheduler_->advance(2.5);
  startCore();
  scheduler_->advance(2.0);
  EXPECT_EQ(session_->sendCount(), 0u);
  EXPECT_FALSE(onDisk("X_1"));
  EXPECT_EQ(worker().screenToSendCount(), 0);
}

// With the configuration's defaults a pass takes at most five screens, the oldest first; the others
// wait on the disk for the next pass, one cycle later.
TEST_F(UploadWorkerTest, APassTakesFiveScreensByDefault) {
  const std::vector<std::string> ids = {"P1_1", "P2_1", "P3_1", "P4_1", "P5_1", "P6_1", "P7_1"};
  for (const auto& id : ids) {
    writeScreens({id});
    scheduler_->advance(0.5);  // distinct folder dates give the pass its order
  }
  startCore();
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), (std::vector<std::string>{"P1_1.zip", "P2_1.zip", "P3_1.zip", "P4_1.zip", "P5_1.zip"}));
  EXPECT_TRUE(logs_.contains("✉️ 5 to send"));
  EXPECT_TRUE(onDisk("P6_1"));
  EXPECT_TRUE(onDisk("P7_1"));
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets().size(), 7u);
  EXPECT_FALSE(onDisk("P6_1"));
  EXPECT_FALSE(onDisk("P7_1"));
}

// With the configuration's defaults a screen is kept fifteen days: at the first pass after that, a
// screen older than that is deleted unsent and a younger one goes out.
TEST_F(UploadWorkerTest, ScreensAreKeptFifteenDaysByDefault) {
  const double fifteenDays = 15 * 24 * 60 * 60.0;
  writeScreens({"Old_1"});
  scheduler_->advance(20.0);
  writeScreens({"Young_1"});  // 22.5 seconds younger than Old_1
  // The first pass, 2.0 seconds after the start, finds Old_1 ten seconds past the limit.
  scheduler_->advance(fifteenDays + 10.0 - 25.0 - 2.0);
  startCore();
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), std::vector<std::string>{"Young_1.zip"});
  EXPECT_FALSE(onDisk("Old_1"));
  EXPECT_FALSE(onDisk("Young_1"));
}

// Every outcome of the second screen's upload in a pass of two: what it leaves of the pass's count,
// on the disk and in the service's state, and whether the next pass, with the cause gone, takes
// what was kept. Causes that hold for the whole pass (no connection, no authorization, no request)
// keep both screens.
TEST_F(UploadWorkerTest, EveryOutcomeLeavesCountDiskAndNextPass) {
  struct Case {
    const char* name;
    std::function<void()> cause;  // sets the condition up before the pass
    std::function<void()> cure;   // takes it away before the next pass
    bool kept;                     // the second screen is still on the disk after the pass
    bool online;
    int count;
    std::size_t sentByNextPass;  // requests of the next pass
    const char* line;
  };
  auto script = [this](std::vector<Outcome> outcomes) {
    return [this, outcomes] {
      session_->enqueue(Outcome::status(200));  // the first screen of the pass
      for (const auto& outcome : outcomes) session_->enqueue(outcome);
    };
  };
  auto nothing = [] {};
  const std::vector<Case> cases = {
      {"accepted", script({Outcome::status(200)}), nothing, false, true, 0, 0,
       "✅ - Finish send screen, proceed to delete directory with id S2_1"},
      {"dropped", script({Outcome::status(404)}), nothing, false, true, 0, 0,
       "❌ Error sending screen: Upload to collection server failed!"},
      {"unauthorized status dropped", script({Outcome::status(401)}), nothing, false, true, 0, 0,
       "❌ Error sending screen: Upload to collection server failed!"},
      {"retried, then accepted", script({Outcome::status(502), Outcome::status(200)}), nothing, false, true, 0, 0,
       "✅ - Finish send screen, proceed to delete directory with id S2_1"},
      {"stopped", script(std::vector<Outcome>(5, Outcome::status(504))), nothing, true, false, 1, 0,
       "❌ Unable to send screens: The service is currently offline"},
      // The worker saw Wi-Fi and started the pass; the retrying layer finds no connection.
      {"connection lost", [this] { retryingReachability_ = std::make_shared<ManualReachability>(scheduler_, ReachabilityConnection::none); },
       [this] { retryingReachability_->publish(ReachabilityConnection::wifi); }, true, true, 0, 2,
       "❌ Error sending screen: Not internet connection"},
      {"unauthorized", [this] { authorized_->status.store(Authorization::unauthorized); },
       [this] { authorized_->status.store(Authorization::authorized); }, true, true, 0, 2,
       "❌ Error sending screen: Unauthorized upload!"},
      {"no request",
       [this] {
         configuration_->editCommon([](Common& common) { common.endpoint = Endpoint::custom("not a url", ""); });
       },
       [this] {
         configuration_->editCommon(
             [](Common& common) { common.endpoint = Endpoint::custom("http://collector.test", "http://collector.test/"); });
       },
       true, true, 0, 2, Uploader::kNoRequestDescription},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    core_.reset();
    scheduler_->runUntilIdle();
    retryingReachability_.reset();
    logs_.clear();
    for (const char* id : {"S1_1", "S2_1"}) std::filesystem::remove_all(spool_.sandbox().storeRoot() / id);
    writeScreens({"S1_1"});
    scheduler_->advance(0.5);
    writeScreens({"S2_1"});
    testCase.cause();
    startCore();
    scheduler_->advance(2.0 + 5 * 3.0);
    EXPECT_EQ(onDisk("S2_1"), testCase.kept);
    EXPECT_EQ(worker().isServiceOnline(), testCase.online);
    EXPECT_EQ(worker().screenToSendCount(), testCase.count);
    EXPECT_TRUE(logs_.contains(testCase.line)) << testCase.line;

    testCase.cure();
    const auto before = session_->sendCount();
    scheduler_->advance(2.0);
    EXPECT_EQ(session_->sendCount() - before, testCase.sentByNextPass);
    if (testCase.sentByNextPass > 0) {
      EXPECT_FALSE(onDisk("S1_1"));
      EXPECT_FALSE(onDisk("S2_1"));
      EXPECT_EQ(worker().screenToSendCount(), 0);
    }
  }
}

// A disk too full for a screen's ZIP keeps the screen: no request, nothing deleted, one log line
// over many cycles; once space returns the screen goes out and is deleted after the 200.
TEST_F(UploadWorkerTest, FullDiskAtUploadKeepsTheScreenUntilSpaceReturns) {
  writeScreens({"F_1"});
  platform::FaultInjectingFiles disk(spool_.sandbox().storeRoot());
  disk.failAfterBytes(0);
  startCore();
  scheduler_->advance(2.0 + 5 * 2.0);
  EXPECT_EQ(session_->sendCount(), 0u);
  EXPECT_TRUE(onDisk("F_1"));
  EXPECT_EQ(worker().screenToSendCount(), 0);
  auto messages = logs_.messages();
  EXPECT_EQ(std::count_if(messages.begin(), messages.end(),
                          [](const std::string& line) { return line.rfind("Error creating ZIP file in memory: ", 0) == 0; }),
            1);
  EXPECT_FALSE(logs_.contains("Error parser, ID: F_1"));

  disk.makeSpace();
  session_->enqueue(Outcome::status(200));
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), std::vector<std::string>{"F_1.zip"});
  EXPECT_FALSE(onDisk("F_1"));
}

// A disk that fails a few writes while a ZIP is made costs the screen nothing: the next pass builds
// it again and sends it once.
TEST_F(UploadWorkerTest, FailedZipWriteIsRetriedNotDeleted) {
  writeScreens({"W_1"});
  platform::FaultInjectingFiles disk(spool_.sandbox().storeRoot());
  disk.failNextWrites(1);
  session_->enqueue(Outcome::status(200));
  startCore();
  scheduler_->advance(2.0);
  EXPECT_EQ(session_->sendCount(), 0u);
  EXPECT_TRUE(onDisk("W_1"));
  scheduler_->advance(2.0);
  EXPECT_EQ(sentAssets(), std::vector<std::string>{"W_1.zip"});
  EXPECT_FALSE(onDisk("W_1"));
  scheduler_->advance(10.0);
  EXPECT_EQ(session_->sendCount(), 1u);
}

}  // namespace
}  // namespace obx
