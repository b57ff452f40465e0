// Core with the analytics and bridge features of this build (the other features stand in as
// fakes), under the manual scheduler: the bridge exists only with the siblings' bus and the
// server's leave, the siblings' identifiers reach the spool, and pages hear of the user's retention.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "bridge/bridge_feature.h"
#include "config/session_configuration.h"
#include "core/core.h"
#include "lifecycle/view_properties.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/eventbus/tandem_event_bus.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"
#include "testing/log_capture.h"
#include "testing/spool.h"
#include "testing/test_core.h"

namespace obx {
namespace {

class Sibling final : public platform::TandemSubscriber {
 public:
  void onEventEvent(const std::shared_ptr<const platform::TandemEvent>& event) override {
    if (std::string(event->className()).rfind("TandemOBX", 0) == 0) heard.push_back(event->className());
  }
  void onSubscribeQueue(const std::vector<std::shared_ptr<const platform::TandemEvent>>&,
                        const std::vector<std::string>&) override {}
  std::vector<std::string> heard;
};

class PageController : public platform::ViewController {};

class CoreBridgeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setDefaultScheduler(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    core_ = testing::makeCore(scheduler_, nullptr,
                              {FeatureKey::kUpload, FeatureKey::kNetwork, FeatureKey::kCrashReport, FeatureKey::kSVR});
  }
  void TearDown() override {
    core_.reset();
    scheduler_->runUntilIdle();
    platform::TandemEventBus::unload();
    platform::setDefaultScheduler(nullptr);
  }

  void start() {
    Configuration c("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
    c.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
    core_->initialize(c, Platform::native());
    scheduler_->runUntilIdle();
  }
  void serverSends(const std::string& document) {
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded) << document;
    core_->configuration()->updateLiveConfiguration(*decoded);
    scheduler_->runUntilIdle();
  }
  bool bridgeRegistered() const { return static_cast<bool>(core_->feature<BridgeFeature>(FeatureKey::kBridge)); }
  // A screen whose view holds `views`, shown in a key window.
  void showScreen(const std::vector<std::shared_ptr<platform::View>>& views) {
    controller_ = std::make_shared<PageController>();
    setObxScreenName(*controller_, "Page");
    for (const auto& view : views) controller_->view()->addSubview(view);
    window_ = std::make_shared<platform::Window>();
    window_->setRootViewController(controller_);
    window_->makeKeyAndVisible();
    scheduler_->runUntilIdle();
  }
  // Every event of the spool, deciphered, in file order per batch.
  std::vector<Json> spooledEvents() {
    scheduler_->runUntilIdle();
    auto store = testing::Spool::openStore(core_->configuration(), scheduler_);
    std::vector<Json> events;
    for (const auto& entry : std::filesystem::directory_iterator(sandbox_.storeRoot())) {
      if (!entry.is_directory()) continue;
      for (const std::string& block : store->repository().events(entry.path().filename().string())) {
        events.push_back(parseJSON(block));
      }
    }
    return events;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<Core> core_;
  std::shared_ptr<PageController> controller_;
  std::shared_ptr<platform::Window> window_;
};

// The bridge waits for the server's document and for the siblings' bus: without the bus nothing
// is registered; with it the bridge comes and the siblings hear the session and the lead;
// allowBridgeCommunication false unregisters it and its subscription goes with it.
TEST_F(CoreBridgeTest, BridgeNeedsTheBusAndTheServersLeave) {
  start();
  serverSends(R"({"msc_allowBridgeCommunication": true})");
  EXPECT_FALSE(bridgeRegistered()) << "no bus in the process";

  auto bus = platform::TandemEventBus::load();
  auto sibling = std::make_shared<Sibling>();
  auto subscription = bus->subscribe(sibling);
  serverSends(R"({"msc_allowBridgeCommunication": true})");
  ASSERT_TRUE(bridgeRegistered());
  EXPECT_EQ(bus->subscriberCount(), 2u);
  EXPECT_EQ(sibling->heard, (std::vector<std::string>{"TandemOBXSessionIdUpdated", "TandemOBXLeadIdUpdated"}));

  serverSends(R"({"msc_allowBridgeCommunication": false})");
  EXPECT_FALSE(bridgeRegistered());
  EXPECT_EQ(bus->subscriberCount(), 1u) << "only the sibling is left";
  EXPECT_EQ(core_->registeredFeatures(), (std::vector<std::string>{"RUM", "SVR", "Upload"}));

  // An absent value counts as allowed.
  serverSends("{}");
  EXPECT_TRUE(bridgeRegistered());
}

// What a sibling announces while a screen is shown is written to that screen as custom dimensions;
// a VK payload that is not a string records nothing.
TEST_F(CoreBridgeTest, SiblingIdentifiersReachTheSpoolAsDimensions) {
  auto bus = platform::TandemEventBus::load();
  start();
  serverSends("{}");
  ASSERT_TRUE(bridgeRegistered());
  showScreen({});
  bus->emitEvent(std::make_shared<platform::TandemZRTEvent>(std::string("zrt-1")));
  bus->emitEvent(std::make_shared<platform::TandemVKEvent>(42));
  bus->emitEvent(std::make_shared<platform::TandemVKEvent>(std::string("vk-7")));
  scheduler_->advance(1.0);

  std::vector<Json> dimensions;
  for (const Json& event : spooledEvents()) {
    if (event["t"] == "dimension") dimensions.push_back(event["d"]);
  }
  EXPECT_EQ(dimensions, (std::vector<Json>{Json::parse(R"({"name":"zrtTID","value":"zrt-1"})"),
                                           Json::parse(R"({"name":"vkCCID","value":"vk-7"})")}));
}

// The user's retention reaches a page already open on the screen at once; a web view inside a
// button is not reached.
TEST_F(CoreBridgeTest, RetentionReachesAnOpenPage) {
  start();
  auto page = std::make_shared<platform::WebView>();
  auto button = std::make_shared<platform::Button>();
  auto inButton = std::make_shared<platform::WebView>();
  button->addSubview(inButton);
  showScreen({page, button});
  ASSERT_TRUE(page->evaluatedScripts().empty());

  core_->setRetention(false);
  scheduler_->runUntilIdle();
  ASSERT_EQ(page->evaluatedScripts().size(), 1u);
  EXPECT_NE(page->evaluatedScripts()[0].find("window.sonvelGauge.setSamplingFromNative(2);"), std::string::npos);
  EXPECT_TRUE(inButton->evaluatedScripts().empty());
}

}  // namespace
}  // namespace obx
