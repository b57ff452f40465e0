// A declarative screen named by the host: the modifier starts the screen through the facade each
// time its content appears. The shared Core is process-wide, so this area has one test, which
// drives it from before initialize to after.
#include "obx/screen_tracking.h"

#include <gtest/gtest.h>

#include "../store/store_test_support.h"
#include "core/core.h"
#include "lifecycle/screen_detector.h"
#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/hosting_controller.h"
#include "platform/ui/label.h"
#include "platform/ui/window.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

constexpr const char* kRefused =
    "Start screen manually is not allowed, set manualScreenTracking 'true' on the initialize method";

// Before initialize an appearance is refused with its line; after it, each appearance of the
// content starts a screen under the given name and recording switch, and building the view or
// leaving the window starts nothing.
TEST(ObxTrackScreen, EachAppearanceStartsTheNamedScreen) {
  auto scheduler = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox;
  testing::LogCapture logs;
  platform::setDefaultScheduler(scheduler);
  platform::Application::resetShared(scheduler);
  platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");

  auto content = std::make_shared<platform::Label>(platform::Rect::make(10, 20, 300, 40), "Total");
  auto tracked = obxTrackScreen(content, "Checkout", true);
  ASSERT_TRUE(tracked);
  EXPECT_EQ(tracked->frame(), platform::Rect::make(10, 20, 300, 40));
  EXPECT_EQ(content->frame(), platform::Rect::make(0, 0, 300, 40));
  EXPECT_EQ(content->superview(), tracked);
  EXPECT_EQ(obxTrackScreen(nullptr, "None"), nullptr);

  auto window = std::make_shared<platform::Window>();
  window->makeKeyAndVisible();
  window->addSubview(tracked);
  EXPECT_EQ(logs.count(kRefused), 1u);
  tracked->removeFromSuperview();

  Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, false,
                              /*manualScreenTracking=*/true, false, false);
  configuration.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
  OBX::initialize(configuration);
  scheduler->runUntilIdle();
  auto core = Core::shared();
  ASSERT_TRUE(core->commonDependencies().has_value());
  auto detector = core->commonDependencies()->screenDetector;

  struct Case {
    std::string name;
    bool disableRecording;
  };
  const std::vector<Case> cases = {{"Checkout", true}, {"Basket", false}};
  std::vector<std::string> screenIDs;
  for (const auto& c : cases) {
    auto screen = obxTrackScreen(std::make_shared<platform::Label>(platform::Rect::make(0, 0, 300, 40), c.name),
                                 c.name, c.disableRecording);
    scheduler->runUntilIdle();
    EXPECT_NE(detector->currentScreenName(), c.name) << "building the view starts nothing";
    window->setRootViewController(std::make_shared<platform::HostingController>(screen));
    scheduler->runUntilIdle();
    auto detected = detector->screenDetected();
    ASSERT_TRUE(detected.has_value()) << c.name;
    EXPECT_EQ(detected->name, c.name);
    EXPECT_EQ(detected->discardRecording, c.disableRecording) << c.name;
    screenIDs.push_back(detected->screenID);
  }
  ASSERT_EQ(screenIDs.size(), 2u);
  EXPECT_NE(screenIDs[0], screenIDs[1]);
  EXPECT_EQ(logs.count(kRefused), 1u);
  platform::setDefaultScheduler(nullptr);
}

}  // namespace
}  // namespace obx
