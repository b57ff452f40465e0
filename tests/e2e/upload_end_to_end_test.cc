// Screens go from a host application's spool to the collector over loopback, through the whole SDK.
#include <algorithm>
#include <set>

#include "e2e_fixture.h"
#include "lifecycle/batch_coordinator.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"

namespace obx::e2e {
namespace {

class ListScreen : public platform::ViewController {};
class DetailScreen : public platform::ViewController {};

class UploadEndToEndTest : public EndToEndTest {
 protected:
  static std::vector<std::string> types(const collector::Collector::ReceivedScreen& screen) {
    std::vector<std::string> list;
    for (const auto& event : screen.body) list.push_back(event.at("t").get<std::string>());
    return list;
  }
};

// A journey's screens each arrive once, with their events ordered by offset, "aE" last and no
// "batch", "bE" or "image"; the batch being written is not among them; the spool ends empty.
TEST_F(UploadEndToEndTest, JourneyArrivesOnceAndTheSpoolEmpties) {
  startCollector();
  startSDK();
  auto application = platform::Application::shared();
  auto navigation = platform::NavigationController::make(std::make_shared<ListScreen>());
  auto window = std::make_shared<platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  pump(6.5);  // the list screen outlives one batch

  navigation->pushViewController(std::make_shared<DetailScreen>(), true);
  pump(1.0);
  core_->sendGoal("viewed detail", 2.5f);
  pump(3.0);
  // Whatever left so far, the batch being written now is not part of it.
  auto current = core_->commonDependencies()->batchCoordinator->batchContext();
  ASSERT_TRUE(current.has_value());
  for (const auto& screen : collector_->screens()) EXPECT_NE(screen.asset, current->id + ".zip");

  navigation->popViewController(true);
  pump(1.0);
  application->resignActive();
  application->enterBackground();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0)) << spooledBatches().size() << " left";

  const auto screens = collector_->screens();
  ASSERT_GE(screens.size(), 3u);
  EXPECT_EQ(collector_->statistics().duplicates, 0u);
  std::set<std::string> assets;
  for (const auto& screen : screens) {
    SCOPED_TRACE(screen.asset);
    EXPECT_TRUE(assets.insert(screen.asset).second) << "arrived twice";
    const auto list = types(screen);
    for (const char* absent : {"batch", "bE", "image"}) {
      EXPECT_EQ(std::count(list.begin(), list.end(), absent), 0) << absent;
    }
    std::vector<std::int64_t> offsets;
    for (const auto& event : screen.body) offsets.push_back(event.at("o").get<std::int64_t>());
    EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
    const auto end = std::find(list.begin(), list.end(), "aE");
    if (end != list.end()) {
      EXPECT_EQ(end, list.end() - 1) << "aE is last";
    }
    EXPECT_EQ(screen.sessionID.find('-'), std::string::npos);
    EXPECT_EQ(screen.property, kProperty);
  }
  // The goal reached the server in the detail screen's upload.
  bool goal = false;
  for (const auto& screen : screens) {
    for (const auto& event : screen.body) goal = goal || event.at("t") == "goal";
  }
  EXPECT_TRUE(goal);
}

// A spool left by a killed run leaves with the next run, as one screen under the session it was
// recorded in, enciphered with that session's key.
TEST_F(UploadEndToEndTest, SpoolOfAKilledRunIsSentByTheNextRun) {
  startCollector();
  leaveScreen("A", 1.0);
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return collector_->statistics().accepted >= 1 && spooledBatches().empty(); }, 20.0));
  const auto screens = collector_->screens();
  ASSERT_EQ(screens.size(), 1u);
  EXPECT_EQ(screens[0].asset, "A_20260101000005.zip");
  EXPECT_EQ(screens[0].leadID, upload_testing::kRawLeadID);
  EXPECT_EQ(screens[0].sessionID, "0F8FAD5BD9CB469FA16570867728950E42");
  EXPECT_EQ(screens[0].cScreenID, "A");
  // Both batches' events, without the batch markers, the application end closing the screen.
  auto list = types(screens[0]);
  ASSERT_FALSE(list.empty());
  EXPECT_EQ(list.back(), "aE");
  std::sort(list.begin(), list.end());
  EXPECT_EQ(list, (std::vector<std::string>{"aE", "goal", "goal", "goal", "screen", "screen", "session", "session"}));
}

// Five 503 answers spend the tries: the worker stops and the screen stays on the disk.
TEST_F(UploadEndToEndTest, ServiceUnavailableFiveTimesStopsAndKeepsTheScreen) {
  startCollector([](collector::Collector::Options& options) {
    options.failFirst = 100;
    options.failStatus = 503;
  });
  leaveScreen("A", 1.0);
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return collector_->statistics().uploads >= 5; }, 30.0));
  pump(4.0);
  EXPECT_EQ(collector_->statistics().uploads, 5u);
  EXPECT_EQ(spooledBatches().size(), 2u);
}

// On cellular with mobile data off nothing is sent; the same spool leaves once Wi-Fi is back.
TEST_F(UploadEndToEndTest, CellularWithoutMobileDataSendsNothing) {
  startCollector();
  reachability_->set(platform::Reachability::Connection::cellular);
  leaveScreen("A", 1.0);
  startSDK(false);
  pump(5.0);
  EXPECT_EQ(collector_->statistics().uploads, 0u);
  EXPECT_EQ(spooledBatches().size(), 2u);

  reachability_->set(platform::Reachability::Connection::wifi);
  EXPECT_TRUE(pumpUntil([&] { return collector_->statistics().accepted == 1; }, 20.0));
}

}  // namespace
}  // namespace obx::e2e
