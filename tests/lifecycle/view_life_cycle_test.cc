#include <gtest/gtest.h>

#include <vector>

#include "lifecycle/app_life_cycle.h"
#include "lifecycle/view_life_cycle.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/window.h"
#include "testing/log_capture.h"

namespace obx {
namespace {

class Screen : public platform::ViewController {
 public:
  int ownAppearances = 0;
  void viewWillAppear(bool) override { ++ownAppearances; }
};

class ViewLifeCycleTest : public ::testing::Test {
 protected:
  void SetUp() override { application_ = platform::Application::resetShared(scheduler_); }
  std::shared_ptr<ViewLifeCycle> make(std::vector<ViewStateCycle>& into) {
    auto cycle = std::make_shared<ViewLifeCycle>(
        std::make_shared<Notifier<ViewStateCycle>>(scheduler_, ViewStateCycle::viewDidLoad, "ViewStateCycle"));
    cycle->add(ObserverValue<ViewStateCycle>::make(platform::DispatchQueue::makeSerial(scheduler_, "test.views"),
                                                   [&into](const ViewStateCycle& s, const ViewStateCycle&) {
                                                     into.push_back(s);
                                                   }));
    scheduler_->runUntilIdle();
    return cycle;
  }
  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  std::shared_ptr<platform::Application> application_;
};

using S = ViewStateCycle;

// Every callback of every controller subclass is published in order; the host's override runs;
// after destruction the originals are back and nothing is published.
TEST_F(ViewLifeCycleTest, PublishesEveryCallbackAndRestores) {
  std::vector<ViewStateCycle> states;
  platform::Method* method = platform::ViewController::runtimeClass()->instanceMethod("viewWillAppear:");
  const platform::IMP original = method->implementation();
  auto cycle = make(states);
  EXPECT_NE(method->implementation(), original);

  auto screen = std::make_shared<Screen>();
  auto navigation = platform::NavigationController::make(screen);
  auto window = std::make_shared<platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  navigation->pushViewController(std::make_shared<platform::ViewController>(), false);
  scheduler_->runUntilIdle();
  EXPECT_EQ(states, (std::vector<S>{S::viewDidLoad, S::viewDidLoad, S::viewWillAppear, S::viewWillAppear,
                                    S::viewDidAppear, S::viewDidAppear, S::viewDidLoad, S::viewWillDisappear,
                                    S::viewWillAppear, S::viewDidDisappear, S::viewDidAppear}));
  EXPECT_EQ(cycle->state(), S::viewDidAppear);
  EXPECT_EQ(screen->ownAppearances, 1);

  cycle.reset();
  EXPECT_EQ(method->implementation(), original);
  states.clear();
  navigation->popViewController(false);
  scheduler_->runUntilIdle();
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(screen->ownAppearances, 2);
}

// Two monitors at once both see the callbacks; the first going away leaves the second working and
// the call still reaching the original.
TEST_F(ViewLifeCycleTest, StackedReplacementsCallThrough) {
  std::vector<ViewStateCycle> first, second;
  auto a = make(first);
  auto b = make(second);
  auto screen = std::make_shared<Screen>();
  auto window = std::make_shared<platform::Window>();
  window->setRootViewController(screen);
  window->makeKeyAndVisible();
  scheduler_->runUntilIdle();
  EXPECT_EQ(first, second);
  EXPECT_FALSE(first.empty());
  a.reset();
  first.clear();
  second.clear();
  window->setRootViewController(std::make_shared<Screen>());
  scheduler_->runUntilIdle();
  EXPECT_TRUE(first.empty());
  EXPECT_EQ(second, (std::vector<S>{S::viewDidLoad, S::viewWillDisappear, S::viewWillAppear, S::viewDidDisappear,
                                    S::viewDidAppear}));
  EXPECT_EQ(screen->ownAppearances, 1);
}

// The four application notifications give active, inactive, background, inactive, with their logs.
TEST_F(ViewLifeCycleTest, AppLifeCycleStates) {
  testing::LogCapture logs;
  std::vector<AppStateCycle> states;
  auto cycle = AppLifeCycle::make(application_->notificationCenter(),
                                  std::make_shared<Notifier<AppStateCycle>>(scheduler_, AppStateCycle::active, "AppStateCycle"));
  cycle->add(ObserverValue<AppStateCycle>::make(platform::DispatchQueue::makeSerial(scheduler_, "test.app"),
                                                [&](const AppStateCycle& s, const AppStateCycle&) { states.push_back(s); }));
  scheduler_->runUntilIdle();
  application_->moveToBackground();
  application_->returnToForeground();
  scheduler_->runUntilIdle();
  EXPECT_EQ(states, (std::vector<AppStateCycle>{AppStateCycle::inactive, AppStateCycle::background,
                                                AppStateCycle::inactive, AppStateCycle::active}));
  EXPECT_TRUE(logs.contains("App did enter to background", LogLevel::qa));
  EXPECT_TRUE(logs.contains("App did become active", LogLevel::qa));
  cycle.reset();
  EXPECT_EQ(application_->notificationCenter()->observerCount(platform::kApplicationDidBecomeActiveNotification), 0u);
}

}  // namespace
}  // namespace obx
