#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/layer.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/application.h"
#include "platform/ui/label.h"
#include "platform/ui/window.h"

namespace obx::platform {
namespace {

// Records, through a replacement of "layoutSublayersOfLayer:" on the view class, the identifiers of
// the views laid out, in order; puts the original back when it goes.
class LayoutRecorder {
 public:
  LayoutRecorder() {
    method_ = View::runtimeClass()->instanceMethod(selectors::layoutSublayersOfLayer);
    original_ = methodGetImplementation(method_);
    auto callThrough = *original_->as<LayoutSublayersSignature>();
    methodSetImplementation(
        method_, Implementation::make<LayoutSublayersSignature>([this, callThrough](Object& view, Layer& layer) {
          laidOut.push_back(static_cast<View&>(view).accessibilityIdentifier());
          callThrough(view, layer);
        }));
  }
  ~LayoutRecorder() { methodSetImplementation(method_, original_); }
  std::vector<std::string> laidOut;

 private:
  Method* method_;
  IMP original_;
};

std::shared_ptr<View> namedView(const std::string& name, Rect frame) {
  auto view = std::make_shared<View>(frame);
  view->setAccessibilityIdentifier(name);
  return view;
}

class ViewLayoutTest : public ::testing::Test {
 public:
  ViewLayoutTest() {
    window_->setAccessibilityIdentifier("window");
    window_->makeKeyAndVisible();
    window_->addSubview(parent_);
    parent_->addSubview(child_);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<ManualScheduler> scheduler_ = ManualScheduler::make();
  std::shared_ptr<Application> application_ = Application::resetShared(scheduler_);
  std::shared_ptr<Window> window_ = std::make_shared<Window>(Rect::make(0, 0, 390, 844));
  std::shared_ptr<View> parent_ = namedView("parent", Rect::make(0, 0, 390, 400));
  std::shared_ptr<View> child_ = namedView("child", Rect::make(10, 10, 100, 40));
};

// Changes are laid out on the main queue, later, in one pass: each changed view once, a parent
// before its subviews, every layout sent through the method table; nothing changed, nothing laid out.
TEST_F(ViewLayoutTest, ChangesAreLaidOutInOnePassThroughTheMethodTable) {
  struct Case {
    const char* name;
    std::function<void(ViewLayoutTest&)> change;
    std::vector<std::string> laidOut;
  };
  const std::vector<Case> cases = {
      {"nothing changes", [](ViewLayoutTest&) {}, {}},
      {"a frame, three times",
       [](ViewLayoutTest& t) {
         for (int i = 1; i <= 3; ++i) t.child_->setFrame(Rect::make(10, 10 + i, 100, 40));
       },
       {"child"}},
      {"child then parent",
       [](ViewLayoutTest& t) {
         t.child_->setAlpha(0.5);
         t.parent_->setBackgroundColor(Color{1, 0, 0, 1});
       },
       {"parent", "child"}},
      {"a new subview",
       [](ViewLayoutTest& t) { t.parent_->addSubview(namedView("new", Rect::make(0, 0, 5, 5))); },
       {"parent", "new"}},
      {"a label's text",
       [](ViewLayoutTest& t) {
         auto label = std::make_shared<Label>(Rect::make(0, 0, 100, 20), "Total");
         label->setAccessibilityIdentifier("label");
         t.child_->addSubview(label);
         t.scheduler_->runUntilIdle();
         label->setText("Total 2");
       },
       {"label"}},
      {"a view outside any window",
       [](ViewLayoutTest&) {
         auto loose = namedView("loose", Rect::make(0, 0, 5, 5));
         loose->setHidden(true);
       },
       {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    c.change(*this);
    LayoutRecorder recorder;
    EXPECT_TRUE(recorder.laidOut.empty()) << "nothing is laid out before the main queue runs";
    scheduler_->runUntilIdle();
    EXPECT_EQ(recorder.laidOut, c.laidOut);
  }
}

// layoutIfNeeded lays out what is marked at once, and the pass that was posted finds nothing left.
TEST_F(ViewLayoutTest, LayoutIfNeededRunsAtOnce) {
  LayoutRecorder recorder;
  child_->setNeedsLayout();
  window_->layoutIfNeeded();
  EXPECT_EQ(recorder.laidOut, std::vector<std::string>{"child"});
  scheduler_->runUntilIdle();
  EXPECT_EQ(recorder.laidOut, std::vector<std::string>{"child"});
}

}  // namespace
}  // namespace obx::platform
