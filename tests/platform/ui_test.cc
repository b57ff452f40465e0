#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/date_picker.h"
#include "platform/ui/hosting_controller.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/map_view.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/picker_view.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/search_bar.h"
#include "platform/ui/segmented_control.h"
#include "platform/ui/slider.h"
#include "platform/ui/stack_view.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "platform/ui/visual_effect_view.h"
#include "platform/ui/web_view.h"
#include "platform/ui/window.h"

namespace obx::platform {
namespace {

// Records every appearance callback of every controller, as "<title>.<callback>".
std::vector<std::string>* journal = nullptr;

class Page : public ViewController {
 public:
  explicit Page(std::string name) { setTitle(std::move(name)); }
  void viewDidLoad() override { note("load"); }
  void viewWillAppear(bool animated) override {
    ViewController::viewWillAppear(animated);
    note("willAppear");
  }
  void viewDidAppear(bool) override { note("didAppear"); }
  void viewWillDisappear(bool) override { note("willDisappear"); }
  void viewDidDisappear(bool) override { note("didDisappear"); }

 private:
  void note(const std::string& what) {
    if (journal) journal->push_back(title() + "." + what);
  }
};

class UITest : public ::testing::Test {
 protected:
  void SetUp() override {
    journal = &calls_;
    application_ = Application::resetShared(scheduler_);
  }
  void TearDown() override { journal = nullptr; }
  std::shared_ptr<Window> show(std::shared_ptr<ViewController> root) {
    auto window = std::make_shared<Window>();
    window->setRootViewController(std::move(root));
    window->makeKeyAndVisible();
    return window;
  }
  std::vector<std::string> take() { return std::exchange(calls_, {}); }

  std::shared_ptr<ManualScheduler> scheduler_ = ManualScheduler::make();
  std::shared_ptr<Application> application_;
  std::vector<std::string> calls_;
};

// Push, pop, present, dismiss and tab switches give the appearance callbacks in the platform's order,
// and only while the container is on screen.
TEST_F(UITest, AppearanceCallbacksFollowTheScreenFlow) {
  auto home = std::make_shared<Page>("home");
  auto navigation = NavigationController::make(home);
  EXPECT_EQ(take(), (std::vector<std::string>{"home.load"}));
  auto window = show(navigation);
  EXPECT_EQ(application_->keyWindow(), window);
  EXPECT_EQ(take(), (std::vector<std::string>{"home.willAppear", "home.didAppear"}));

  auto detail = std::make_shared<Page>("detail");
  navigation->pushViewController(detail, true);
  EXPECT_EQ(take(), (std::vector<std::string>{"detail.load", "home.willDisappear", "detail.willAppear",
                                              "home.didDisappear", "detail.didAppear"}));
  EXPECT_EQ(detail->navigationController(), navigation);
  EXPECT_EQ(detail->view()->window(), window);

  auto modal = std::make_shared<Page>("modal");
  detail->present(modal, true);
  EXPECT_EQ(take(), (std::vector<std::string>{"modal.load", "detail.willDisappear", "modal.willAppear",
                                              "detail.didDisappear", "modal.didAppear"}));
  EXPECT_EQ(navigation->presentedViewController(), modal);
  EXPECT_EQ(modal->presentingViewController(), navigation);
  EXPECT_EQ(modal->view()->window(), window);

  modal->dismiss(true);
  EXPECT_EQ(take(), (std::vector<std::string>{"modal.willDisappear", "detail.willAppear", "modal.didDisappear",
                                              "detail.didAppear"}));
  EXPECT_EQ(navigation->presentedViewController(), nullptr);
  EXPECT_EQ(modal->view()->window(), nullptr);

  EXPECT_EQ(navigation->popViewController(true), detail);
  EXPECT_EQ(take(), (std::vector<std::string>{"detail.willDisappear", "home.willAppear", "detail.didDisappear",
                                              "home.didAppear"}));
  EXPECT_EQ(navigation->popViewController(true), nullptr);

  auto first = std::make_shared<Page>("first");
  auto second = std::make_shared<Page>("second");
  auto tabs = std::make_shared<TabBarController>();
  tabs->setViewControllers({first, second}, false);
  EXPECT_EQ(take(), (std::vector<std::string>{"first.load"}));  // not on screen yet
  window->setRootViewController(tabs);
  EXPECT_EQ(take(), (std::vector<std::string>{"home.willDisappear", "first.willAppear", "home.didDisappear",
                                              "first.didAppear"}));
  tabs->setSelectedIndex(1);
  EXPECT_EQ(take(), (std::vector<std::string>{"second.load", "first.willDisappear", "second.willAppear",
                                              "first.didDisappear", "second.didAppear"}));
  EXPECT_EQ(tabs->selectedViewController(), second);
}

// A replacement of viewWillAppear: on the base controller class sees appearances of host
// subclasses, containers and hosting controllers alike, and the host's own override still runs.
TEST_F(UITest, ReplacedAppearanceMethodSeesEveryController) {
  Method* method = ViewController::runtimeClass()->instanceMethod(selectors::viewWillAppear);
  ASSERT_NE(method, nullptr);
  std::vector<std::string> seen;
  IMP original = method->implementation();
  method->setImplementation(Implementation::make<ViewAppearanceSignature>([&](Object& self, bool animated) {
    (*original->as<ViewAppearanceSignature>())(self, animated);
    seen.push_back(stringFromClass(self.getClass()));
  }));
  auto hosting = std::make_shared<HostingController>();
  auto navigation = NavigationController::make(std::make_shared<Page>("p"));
  auto window = show(navigation);
  navigation->pushViewController(hosting, false);
  method->setImplementation(original);
  navigation->popViewController(false);

  const std::string page = stringFromClass(std::make_shared<Page>("x")->getClass());
  EXPECT_EQ(seen, (std::vector<std::string>{"NavigationController", page, "HostingController"}));
  EXPECT_EQ(take(), (std::vector<std::string>{"p.load", "p.willAppear", "p.didAppear", "p.willDisappear",
                                              "p.didDisappear", "p.willAppear", "p.didAppear"}));
  EXPECT_EQ(Bundle::bundleForClass(hosting->getClass())->bundleURL().substr(
                Bundle::bundleForClass(hosting->getClass())->bundleURL().size() - 17),
            "SwiftUI.framework");
  EXPECT_EQ(Bundle::bundleForClass(classFromString(page)), Bundle::mainBundle());
}

// Descriptions change with frame and state, and only then; each view kind shows its own state.
TEST_F(UITest, DescriptionsFollowFrameAndState) {
  auto label = std::make_shared<Label>(Rect::make(20, 100, 335, 21), "Total");
  const std::string before = label->debugDescription();
  EXPECT_EQ(label->description(), "<Label: " + label->addressText() + "; frame = (20 100; 335 21); text = 'Total'>");
  EXPECT_EQ(label->debugDescription(), before);

  struct Change {
    const char* what;
    std::function<void()> apply;
  };
  const std::vector<Change> changes = {
      {"frame", [&] { label->setFrame(Rect::make(20, 101, 335, 21)); }},
      {"hidden", [&] { label->setHidden(true); }},
      {"alpha", [&] { label->setAlpha(0.5); }},
      {"text", [&] { label->setText("Sum"); }},
      {"colour", [&] { label->setBackgroundColor(Color{1, 0, 0, 1}); }},
  };
  std::string last = before;
  for (const auto& change : changes) {
    change.apply();
    EXPECT_NE(label->debugDescription(), last) << change.what;
    last = label->debugDescription();
  }

  auto field = std::make_shared<TextField>(Rect::make(0, 0, 100, 30));
  field->setSecureTextEntry(true);
  field->setText("pin");
  EXPECT_NE(field->description().find("text = '***'"), std::string::npos);
  EXPECT_EQ(field->description().find("pin"), std::string::npos);

  auto scroll = std::make_shared<ScrollView>(Rect::make(0, 0, 100, 100));
  const std::string still = scroll->description();
  scroll->setContentOffset({0, 40});
  EXPECT_NE(scroll->description(), still);
  EXPECT_EQ(scroll->bounds().origin, (Point{0, 40}));

  // Every kind names its own class.
  const std::vector<std::pair<std::shared_ptr<View>, std::string>> kinds = {
      {std::make_shared<TextView>(), "TextView"},     {std::make_shared<ImageView>(), "ImageView"},
      {std::make_shared<Button>(), "Button"},         {std::make_shared<Switch>(), "Switch"},
      {std::make_shared<Slider>(), "Slider"},         {std::make_shared<PickerView>(), "PickerView"},
      {std::make_shared<DatePicker>(), "DatePicker"}, {std::make_shared<SegmentedControl>(), "SegmentedControl"},
      {std::make_shared<SearchBar>(), "SearchBar"},   {std::make_shared<WebView>(), "WebView"},
      {std::make_shared<MapView>(), "MapView"},       {std::make_shared<VisualEffectView>(), "VisualEffectView"},
      {std::make_shared<StackView>(), "StackView"}};
  for (const auto& [view, name] : kinds) EXPECT_EQ(view->description().rfind("<" + name + ": ", 0), 0u) << name;
  EXPECT_TRUE(kinds[0].first->isKindOfClass(ScrollView::runtimeClass()));
  EXPECT_TRUE(kinds[3].first->isKindOfClass(Control::runtimeClass()));
}

// Notifications are delivered on the main queue when the scheduler runs, not on the poster's stack,
// and not after the observer is removed.
TEST_F(UITest, NotificationCentreDeliversOnMainQueue) {
  auto centre = application_->notificationCenter();
  std::vector<std::string> received;
  bool onMain = false;
  auto token = centre->addObserver(kApplicationDidEnterBackgroundNotification, nullptr, [&](const Notification& n) {
    received.push_back(n.name);
    onMain = scheduler_->mainQueue()->isCurrent();
  });
  application_->moveToBackground();
  EXPECT_TRUE(received.empty());
  scheduler_->runUntilIdle();
  EXPECT_EQ(received, (std::vector<std::string>{kApplicationDidEnterBackgroundNotification}));
  EXPECT_TRUE(onMain);
  EXPECT_EQ(application_->applicationState(), ApplicationState::background);

  application_->enterBackground();
  centre->removeObserver(token);
  scheduler_->runUntilIdle();
  EXPECT_EQ(received.size(), 1u);
}

// Rotation turns the scenes, the status bar and the screen's bounds, and posts the change.
TEST_F(UITest, RotationUpdatesOrientationAndBounds) {
  int posted = 0;
  application_->notificationCenter()->addObserver(kDeviceOrientationDidChangeNotification, nullptr,
                                                  [&](const Notification&) { ++posted; });
  auto window = show(std::make_shared<Page>("p"));
  application_->rotate(DeviceOrientation::landscapeLeft);
  scheduler_->runUntilIdle();
  EXPECT_EQ(posted, 1);
  EXPECT_EQ(application_->statusBarOrientation(), InterfaceOrientation::landscapeRight);
  EXPECT_EQ(window->windowScene()->interfaceOrientation(), InterfaceOrientation::landscapeRight);
  EXPECT_EQ(application_->mainScreen()->bounds(), Rect::make(0, 0, 844, 390));
  EXPECT_EQ(window->frame(), Rect::make(0, 0, 844, 390));
}

// Controls send their actions to blocks and to target selectors through the run-time, by event.
TEST_F(UITest, ControlsSendTargetActions) {
  class Target : public Object {
   public:
    void submitted(Object* sender) { senders.push_back(sender); }
    std::vector<Object*> senders;
  };
  auto target = std::make_shared<Target>();
  target->getClass()->addMethod("submit:", implementationOf(&Target::submitted));

  auto button = std::make_shared<Button>(Rect::make(0, 0, 80, 40), "Pay");
  button->addTarget(target, "submit:", kControlEventTouchUpInside);
  int downs = 0;
  button->addAction([&](Control&) { ++downs; }, kControlEventTouchDown);
  button->tap();
  EXPECT_EQ(target->senders, (std::vector<Object*>{button.get()}));
  EXPECT_EQ(downs, 1);
  button->setEnabled(false);
  button->tap();
  EXPECT_EQ(downs, 1);

  auto toggle = std::make_shared<Switch>();
  int changes = 0;
  toggle->addAction([&](Control& c) { changes += static_cast<Switch&>(c).isOn() ? 1 : 10; }, kControlEventValueChanged);
  toggle->tap();
  toggle->tap();
  EXPECT_EQ(changes, 11);

  auto field = std::make_shared<TextField>();
  int edits = 0;
  std::shared_ptr<Object> editedObject;
  field->addAction([&](Control&) { ++edits; }, kControlEventEditingChanged);
  application_->notificationCenter()->addObserver(kTextFieldTextDidChangeNotification, field,
                                                  [&](const Notification& n) { editedObject = n.object; });
  field->insertText("né");
  field->deleteBackward();
  scheduler_->runUntilIdle();
  EXPECT_EQ(field->text(), "n");
  EXPECT_EQ(edits, 2);
  EXPECT_EQ(editedObject, field);
}

// Points convert between views through their frames and a scroll view's offset; hit testing finds
// the deepest visible view.
TEST_F(UITest, GeometryConversionAndHitTest) {
  auto window = std::make_shared<Window>(Rect::make(0, 0, 400, 800));
  auto scroll = std::make_shared<ScrollView>(Rect::make(0, 100, 400, 600));
  auto button = std::make_shared<Button>(Rect::make(50, 300, 100, 40));
  window->addSubview(scroll);
  scroll->addSubview(button);
  scroll->setContentOffset({0, 200});
  EXPECT_EQ(button->convertPointToView({0, 0}, nullptr), (Point{50, 200}));
  EXPECT_EQ(button->convertPointFromView({60, 210}, window.get()), (Point{10, 10}));
  EXPECT_EQ(window->hitTest({60, 210}), button);
  button->setHidden(true);
  EXPECT_EQ(window->hitTest({60, 210}), scroll);
  EXPECT_EQ(window->hitTest({500, 10}), nullptr);
}

}  // namespace
}  // namespace obx::platform
