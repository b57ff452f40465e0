#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "lifecycle/app_life_cycle.h"
#include "lifecycle/screen_detector.h"
#include "lifecycle/view_life_cycle.h"
#include "lifecycle/view_properties.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/hosting_controller.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/window.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class HomeController : public platform::ViewController {};
class DetailController : public platform::ViewController {};

class ScreenDetectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    application_ = platform::Application::resetShared(scheduler_);
    build(false);
  }

  void build(bool manualScreenTracking) {
    detector_.reset();
    Configuration configuration("account", "property", Consent::analyticsAndRecording, false, true,
                                manualScreenTracking, false, false);
    configuration_ = std::make_shared<SDKConfiguration>(configuration, Platform::native(), scheduler_);
    viewLifeCycle_ = std::make_shared<ViewLifeCycle>(
        std::make_shared<Notifier<ViewStateCycle>>(scheduler_, ViewStateCycle::viewDidLoad, "ViewStateCycle"));
    appLifeCycle_ = AppLifeCycle::make(application_->notificationCenter(), std::make_shared<Notifier<AppStateCycle>>(
                                                                               scheduler_, AppStateCycle::active, "AppStateCycle"));
    detector_ = ScreenDetector::make(scheduler_, application_->notificationCenter(), application_, viewLifeCycle_,
                                     appLifeCycle_, configuration_,
                                     std::make_shared<Notifier<std::optional<ViewContext>>>(scheduler_, std::nullopt,
                                                                                            "ViewContext"));
    auto queue = platform::DispatchQueue::makeSerial(scheduler_, "test.screens");
    detector_->add(ScreenObserverValue::make(queue, [this](const std::optional<ViewContext>& context,
                                                           const std::optional<ViewContext>&) {
      published_.push_back(context);
    }));
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::Window> show(std::shared_ptr<platform::ViewController> root) {
    auto window = std::make_shared<platform::Window>();
    window->setRootViewController(std::move(root));
    window->makeKeyAndVisible();
    scheduler_->runUntilIdle();
    return window;
  }

  // Names of the screens published since the last call; "-" for an absent one.
  std::vector<std::string> names() {
    scheduler_->runUntilIdle();
    std::vector<std::string> list;
    for (const auto& context : published_) list.push_back(context ? context->name : "-");
    seen_.insert(seen_.end(), published_.begin(), published_.end());
    published_.clear();
    return list;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_;
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<ViewLifeCycle> viewLifeCycle_;
  std::shared_ptr<AppLifeCycle> appLifeCycle_;
  std::shared_ptr<ScreenDetector> detector_;
  std::vector<std::optional<ViewContext>> published_;
  std::vector<std::optional<ViewContext>> seen_;
  testing::LogCapture logs_;
};

const std::string kHome = "obx.(anonymous namespace).HomeController";
const std::string kDetail = "obx.(anonymous namespace).DetailController";

// Push makes a new screen; pop brings back the earlier name through the disappearance; a controller
// shown again is the same screen, another object of its class a new one with the same name.
TEST_F(ScreenDetectorTest, PushPopPresentDismissAndIdentity) {
  auto home = std::make_shared<HomeController>();
  auto navigation = platform::NavigationController::make(home);
  show(navigation);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
  EXPECT_TRUE(logs_.contains("New screen detected and not previous screen " + kHome, LogLevel::developer));
  EXPECT_TRUE(logs_.contains("OmbrixOBX new screen tracking: " + kHome, LogLevel::customer));

  auto detail = std::make_shared<DetailController>();
  setObxScreenName(*detail, "Detail");
  navigation->pushViewController(detail, true);
  EXPECT_EQ(names(), (std::vector<std::string>{"Detail"}));
  navigation->popViewController(true);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));

  auto modal = std::make_shared<DetailController>();
  home->present(modal, true);
  EXPECT_EQ(names(), (std::vector<std::string>{kDetail}));
  modal->dismiss(true);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
  // The same home controller every time: the screens differ by screen ID, not by object.
  EXPECT_NE(seen_[0]->screenID, seen_[2]->screenID);

  // Re-showing the top controller without any change of screen publishes nothing.
  detector_->detectScreen();
  EXPECT_TRUE(names().empty());
  // A second object of the same class is a new screen with the same name.
  navigation->setViewControllers({std::make_shared<HomeController>()}, false);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
}

// The top controller is found through tab bars and navigation stacks. A tab bar with no selected
// controller, or a navigation stack with none, is no screen: the detection warns and publishes
// nothing named after the container.
TEST_F(ScreenDetectorTest, TopControllerThroughContainers) {
  auto window = show(std::make_shared<platform::TabBarController>());
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(logs_.count("WARNING: new screen detected but not tracked"), 1u);
  window->setRootViewController(std::make_shared<platform::NavigationController>());
  scheduler_->runUntilIdle();
  EXPECT_TRUE(names().empty());
  EXPECT_GT(logs_.count("WARNING: new screen detected but not tracked"), 1u);

  auto inner = std::make_shared<DetailController>();
  setObxScreenName(*inner, "Inner");
  auto tabs = std::make_shared<platform::TabBarController>();
  tabs->setViewControllers({std::make_shared<HomeController>(), platform::NavigationController::make(inner)}, false);
  window->setRootViewController(tabs);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
  tabs->setSelectedIndex(1);
  EXPECT_EQ(names(), (std::vector<std::string>{"Inner"}));
}

// A hosting controller names a screen only through obxScreenName, and is told apart by name alone.
TEST_F(ScreenDetectorTest, HostingControllers) {
  auto hosting = std::make_shared<platform::HostingController>();
  auto navigation = platform::NavigationController::make(hosting);
  show(navigation);
  EXPECT_TRUE(names().empty());
  EXPECT_TRUE(logs_.contains("WARNING: new screen detected but not tracked", LogLevel::public_));

  auto named = std::make_shared<platform::HostingController>();
  setObxScreenName(*named, "Cart");
  navigation->pushViewController(named, false);
  EXPECT_EQ(names(), (std::vector<std::string>{"Cart"}));
  // Another hosting controller with the same name is the same screen.
  auto again = std::make_shared<platform::HostingController>();
  setObxScreenName(*again, "Cart");
  navigation->setViewControllers({again}, false);
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(detector_->currentScreenName(), "Cart");
}

// Discard flags come from the controller's properties; a name in the server's lists marks the
// controller so that its next detection discards recording.
TEST_F(ScreenDetectorTest, DiscardFlagsAndDisabledScreenList) {
  configuration_->editLiveConfiguration([](LiveConfiguration& live) { live.disableScreenTracking = StringList{"Secret"}; });
  configuration_->applyLiveConfiguration();
  auto secret = std::make_shared<HomeController>();
  setObxScreenName(*secret, "Secret");
  auto navigation = platform::NavigationController::make(secret);
  show(navigation);
  ASSERT_EQ(names(), (std::vector<std::string>{"Secret"}));
  EXPECT_FALSE(seen_.back()->discardRecording);
  EXPECT_TRUE(obxDisableRecordingOnThisScreen(*secret));

  auto blocked = std::make_shared<DetailController>();
  setObxDisableAnalyticsAndRecordingOnThisScreen(*blocked, true);
  navigation->pushViewController(blocked, false);
  names();
  EXPECT_TRUE(seen_.back()->discardRecording);
  EXPECT_TRUE(seen_.back()->discardTracking);

  navigation->popViewController(false);
  ASSERT_EQ(names(), (std::vector<std::string>{"Secret"}));
  EXPECT_TRUE(seen_.back()->discardRecording);
  EXPECT_FALSE(seen_.back()->discardTracking);
}

// Background ends the screen; the return brings a new screen ID with the same name.
TEST_F(ScreenDetectorTest, BackgroundAndReturn) {
  show(std::make_shared<HomeController>());
  ASSERT_EQ(names(), (std::vector<std::string>{kHome}));
  const std::string firstID = seen_.back()->screenID;
  application_->moveToBackground();
  EXPECT_EQ(names(), (std::vector<std::string>{"-"}));
  EXPECT_FALSE(detector_->screenDetected().has_value());
  application_->returnToForeground();
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
  EXPECT_NE(seen_.back()->screenID, firstID);
  EXPECT_TRUE(logs_.count("App did enter to background") == 1);
}

// The first orientation change only stores the orientation; a later one starts a new screen with
// the same name, after which the next appearance of the controller counts as a change.
TEST_F(ScreenDetectorTest, OrientationChange) {
  auto home = std::make_shared<HomeController>();
  show(home);
  ASSERT_EQ(names().size(), 1u);
  application_->rotate(platform::DeviceOrientation::landscapeLeft);
  EXPECT_TRUE(names().empty());
  application_->rotate(platform::DeviceOrientation::landscapeLeft);  // same orientation again
  EXPECT_TRUE(names().empty());
  application_->rotate(platform::DeviceOrientation::portrait);
  EXPECT_EQ(names(), (std::vector<std::string>{kHome}));
  EXPECT_EQ(detector_->currentScreenName(), kHome);
  EXPECT_EQ(logs_.count("Force New screen detected manually " + describe(*seen_.back())), 1u);
}

// The image size rule: both sides halved when either exceeds 1200 points.
TEST_F(ScreenDetectorTest, ImageSizeRule) {
  struct Case {
    double width, height, expectedWidth, expectedHeight;
  };
  for (const Case& c : {Case{390, 844, 390, 844}, Case{1024, 1366, 512, 683}, Case{1200, 1200, 1200, 1200},
                        Case{1201, 800, 600.5, 400}}) {
    EXPECT_EQ(imageSizeForScreen(c.width, c.height), (Size{c.expectedWidth, c.expectedHeight}));
  }
  application_->mainScreen()->setBounds(platform::Rect::make(0, 0, 1024, 1366));
  show(std::make_shared<HomeController>());
  names();
  EXPECT_EQ(seen_.back()->size, (Size{512, 683}));
}

// With manual tracking nothing is detected; screens come from forceNewScreen and end with clear.
TEST_F(ScreenDetectorTest, ManualTracking) {
  build(true);
  show(std::make_shared<HomeController>());
  EXPECT_TRUE(names().empty());
  detector_->forceNewScreen("Checkout", "ID-1", true);
  EXPECT_EQ(names(), (std::vector<std::string>{"Checkout"}));
  EXPECT_EQ(seen_.back()->screenID, "ID-1");
  EXPECT_TRUE(seen_.back()->discardRecording);
  EXPECT_EQ(seen_.back()->dateScreen, scheduler_->now());
  detector_->clearCurrentScreen();
  EXPECT_EQ(names(), (std::vector<std::string>{"-"}));
  EXPECT_FALSE(detector_->currentScreenName().has_value());
}

}  // namespace
}  // namespace obx
