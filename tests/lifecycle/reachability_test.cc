#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <unistd.h>
#include <vector>

#include "lifecycle/obx_reachability.h"
#include "lifecycle/reachability_observer.h"
#include "platform/dispatch/manual_scheduler.h"
#include "testing/fake_reachability.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

using Connection = platform::Reachability::Connection;

class ReachabilityTest : public ::testing::Test {
 protected:
  std::shared_ptr<ReachabilityObserver> makeObserver(std::shared_ptr<platform::Reachability> reachability) {
    auto observer = ReachabilityObserver::make(
        std::move(reachability), std::make_shared<Notifier<std::optional<ReachabilityConnection>>>(
                                     scheduler_, ReachabilityConnection::none, "ReachabilityConnection"));
    observer->add(ReachabilityObserverValue::make(
        platform::DispatchQueue::makeSerial(scheduler_, "test.reachability"),
        [this](const std::optional<ReachabilityConnection>& value, const std::optional<ReachabilityConnection>&) {
          published_.push_back(value);
        }));
    scheduler_->runUntilIdle();
    return observer;
  }
  std::vector<std::optional<ReachabilityConnection>> take() {
    scheduler_->runUntilIdle();
    return std::exchange(published_, {});
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::vector<std::optional<ReachabilityConnection>> published_;
  testing::LogCapture logs_;
};

// The observer publishes the monitor's connection at start and on each change, unavailable and none
// both read as down. A monitor that cannot start is logged; the observer keeps the value it read first.
TEST_F(ReachabilityTest, FakeSourceDrivesObserver) {
  auto fake = std::make_shared<testing::FakeReachability>();
  fake->set(Connection::wifi);
  auto observer = makeObserver(fake);
  EXPECT_EQ(observer->connection(), ReachabilityConnection::none);
  observer->start();
  EXPECT_TRUE(fake->isRunning());
  EXPECT_EQ(take(), (std::vector<std::optional<ReachabilityConnection>>{ReachabilityConnection::wifi}));
  for (Connection connection : {Connection::cellular, Connection::unavailable, Connection::wifi, Connection::none}) {
    fake->set(connection);
  }
  EXPECT_EQ(take(), (std::vector<std::optional<ReachabilityConnection>>{
                        ReachabilityConnection::cellular, ReachabilityConnection::none, ReachabilityConnection::wifi,
                        ReachabilityConnection::none}));
  fake->set(Connection::wifi);
  EXPECT_EQ(observer->connection(), ReachabilityConnection::wifi);

  auto failing = std::make_shared<testing::FakeReachability>();
  failing->set(Connection::cellular);
  failing->failNextStart();
  auto unstarted = makeObserver(failing);
  unstarted->start();
  EXPECT_TRUE(logs_.contains("Unable to start network notifier", LogLevel::developer));
  EXPECT_EQ(unstarted->connection(), ReachabilityConnection::cellular);
}

// A platform monitor whose flags the test sets and whose callback it fires.
class FakeNetworkReachability : public platform::NetworkReachability {
 public:
  std::optional<platform::ReachabilityFlags> getFlags(int* error) override {
    ++reads;
    if (error) *error = 0;
    return flags;
  }
  bool setCallback(std::function<void(platform::ReachabilityFlags)> cb, int* error) override {
    if (error) *error = refuseCallback ? 22 : 0;
    if (refuseCallback && cb) return false;
    callback = std::move(cb);
    return true;
  }
  bool setDispatchQueue(std::shared_ptr<platform::DispatchQueue> q, int*) override {
    queue = std::move(q);
    return true;
  }
  void change(platform::ReachabilityFlags value) {
    flags = value;
    if (callback && queue) queue->async([cb = callback, value] { cb(value); });
  }
  std::optional<platform::ReachabilityFlags> flags;
  std::function<void(platform::ReachabilityFlags)> callback;
  std::shared_ptr<platform::DispatchQueue> queue;
  bool refuseCallback = false;
  int reads = 0;
};

// The monitor reads flags on demand before start, maps them (WWAN as cellular), starts once, runs
// the callbacks on the notification queue on a change only, and takes its callback off when destroyed.
// A refused callback stops the monitor and throws unableToSetCallback with the error number.
TEST_F(ReachabilityTest, OBXReachabilityOverPlatformFlags) {
  auto platformRef = std::make_shared<FakeNetworkReachability>();
  auto centre = std::make_shared<platform::NotificationCenter>(scheduler_);
  int changes = 0;
  centre->addObserver(kOBXReachabilityChangedNotification, nullptr, [&](const platform::Notification&) { ++changes; });
  auto monitor = OBXReachability::make(scheduler_, platformRef, centre, scheduler_->mainQueue());
  EXPECT_EQ(monitor->flagsDescription(), "unavailable flags");
  EXPECT_EQ(monitor->connection(), Connection::unavailable);  // no flags at all
  platformRef->flags = platform::kReachableFlag;
  monitor->startNotifier();
  EXPECT_TRUE(monitor->notifierRunning());
  const int reads = platformRef->reads;
  monitor->startNotifier();
  EXPECT_EQ(platformRef->reads, reads);  // second start does nothing
  EXPECT_EQ(monitor->connection(), Connection::wifi);
  scheduler_->runUntilIdle();  // the first flags were a change from unknown
  EXPECT_EQ(changes, 1);

  std::vector<Connection> heard;
  monitor->setWhenReachable([&](platform::Reachability& r) { heard.push_back(r.connection()); });
  monitor->setWhenUnreachable([&](platform::Reachability& r) { heard.push_back(r.connection()); });
  platformRef->change(platform::kReachableFlag | platform::kIsWWANFlag);
  platformRef->change(platform::kReachableFlag | platform::kIsWWANFlag);  // same flags: no callback
  platformRef->change(0);
  scheduler_->runUntilIdle();
  EXPECT_EQ(heard, (std::vector<Connection>{Connection::cellular, Connection::unavailable}));
  EXPECT_EQ(changes, 3);

  monitor.reset();
  EXPECT_FALSE(platformRef->callback);
  EXPECT_FALSE(platformRef->queue);

  auto refusing = std::make_shared<FakeNetworkReachability>();
  refusing->refuseCallback = true;
  auto refused = OBXReachability::make(scheduler_, refusing, nullptr, nullptr);
  try {
    refused->startNotifier();
    ADD_FAILURE() << "expected a throw";
  } catch (const OBXReachabilityError& error) {
    EXPECT_EQ(error.kind, OBXReachabilityError::Kind::unableToSetCallback);
    EXPECT_EQ(error.description(), "unableToSetCallback(22)");
  }
  EXPECT_FALSE(refused->notifierRunning());
}

// Flags come from the default routes: wired or wireless is reachable, a modem (by the kernel's
// device type, whatever the interface is named) is WWAN, a link that is down or no default route is
// not reachable.
TEST_F(ReachabilityTest, FlagsFromRoutingTables) {
  auto root = std::filesystem::temp_directory_path() / ("obx-net-" + std::to_string(::getpid()));
  auto write = [&](const std::string& routes, const std::vector<std::pair<std::string, std::string>>& links,
                   const std::vector<std::string>& modems = {"wwan0", "wwp0s20f0u6"}) {
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(root / "proc");
    std::ofstream(root / "proc" / "route")
        << "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\tMTU\tWindow\tIRTT\n"
        << routes;
    std::ofstream(root / "proc" / "ipv6_route");
    for (const auto& [name, state] : links) {
      std::filesystem::create_directories(root / "sys" / name);
      std::ofstream(root / "sys" / name / "operstate") << state << "\n";
      const bool modemLink = std::find(modems.begin(), modems.end(), name) != modems.end();
      std::ofstream(root / "sys" / name / "uevent")
          << (modemLink ? "DEVTYPE=wwan\n" : "") << "INTERFACE=" << name << "\nIFINDEX=3\n";
    }
    return platform::readReachabilityFlags((root / "proc").string(), (root / "sys").string());
  };
  const std::string wlan = "wlan0\t00000000\t0102A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n";
  const std::string modem = "wwan0\t00000000\t0100000A\t0003\t0\t0\t700\t00000000\t0\t0\t0\n";
  const std::string lan = "eth0\t0002A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0\n";
  EXPECT_EQ(write(wlan, {{"wlan0", "up"}}), platform::kReachableFlag);
  EXPECT_EQ(write(modem, {{"wwan0", "up"}}), platform::kReachableFlag | platform::kIsWWANFlag);
  EXPECT_EQ(write(modem + wlan, {{"wwan0", "up"}, {"wlan0", "up"}}), platform::kReachableFlag);
  EXPECT_EQ(write(wlan, {{"wlan0", "down"}}), 0u);
  EXPECT_EQ(write(lan, {{"eth0", "up"}}), 0u);  // a local route only
  const std::string systemdModem = "wwp0s20f0u6\t00000000\t0100000A\t0003\t0\t0\t700\t00000000\t0\t0\t0\n";
  EXPECT_EQ(write(systemdModem, {{"wwp0s20f0u6", "up"}}), platform::kReachableFlag | platform::kIsWWANFlag);
  // A wired interface that happens to be named like a modem is not one.
  EXPECT_EQ(write(modem, {{"wwan0", "up"}}, {}), platform::kReachableFlag);
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace obx
