// ViewController: manages one view and its place in the screen flow: containment (navigation, tab
// bar and custom containers), modal presentation, and the five appearance callbacks. The toolkit
// sends the callbacks through the object run-time (selectors "viewDidLoad", "viewWillAppear:",
// "viewDidAppear:", "viewWillDisappear:", "viewDidDisappear:"), so a replaced implementation on this
// class sees them for every controller of every subclass. Subclasses override the virtual methods
// of the same names and call the base; they never call them themselves.
//
// Transitions call the callbacks in the platform's order: the leaving controller's
// viewWillDisappear, the arriving one's viewWillAppear, then viewDidDisappear and viewDidAppear.
// Main queue only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/runtime/object.h"
#include "platform/ui/view.h"

namespace obx::platform {

class NavigationController;
class TabBarController;

namespace selectors {
inline constexpr const char* viewDidLoad = "viewDidLoad";
inline constexpr const char* viewWillAppear = "viewWillAppear:";
inline constexpr const char* viewDidAppear = "viewDidAppear:";
inline constexpr const char* viewWillDisappear = "viewWillDisappear:";
inline constexpr const char* viewDidDisappear = "viewDidDisappear:";
}  // namespace selectors

// The signatures of the appearance methods in the method tables.
using ViewDidLoadSignature = void(Object&);
using ViewAppearanceSignature = void(Object&, bool);

class ViewController : public Object {
 public:
  static Class* runtimeClass();
  ViewController();

  // Loads the view on first use (loadView, then viewDidLoad).
  std::shared_ptr<View> view();
  bool isViewLoaded() const { return view_ != nullptr; }
  void setView(std::shared_ptr<View> view);
  const std::string& title() const { return title_; }
  void setTitle(std::string title) { title_ = std::move(title); }

  // Appearance callbacks; see the header comment.
  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }
  virtual void viewDidAppear(bool animated) { (void)animated; }
  virtual void viewWillDisappear(bool animated) { (void)animated; }
  virtual void viewDidDisappear(bool animated) { (void)animated; }

  // Starts or ends the appearance of this controller and of the children it shows. Repeated calls
  // in the same direction do nothing, so a controller never gets two viewWillAppear in a row.
  void beginAppearanceTransition(bool isAppearing, bool animated);
  void endAppearanceTransition();
  // Between viewWillAppear and viewWillDisappear.
  bool isAppearingOrAppeared() const {
    return appearance_ == Appearance::appearing || appearance_ == Appearance::appeared;
  }

  // Containment.
  std::shared_ptr<ViewController> parentViewController() const { return parent_.lock(); }
  const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const { return children_; }
  void addChildViewController(const std::shared_ptr<ViewController>& child);
  void removeFromParentViewController();
  std::shared_ptr<NavigationController> navigationController() const;
  std::shared_ptr<TabBarController> tabBarController() const;

  // Presents `controller` full screen over the presentation context (the root of this controller's
  // containment, or what it already presents). The presented view covers the window.
  void present(std::shared_ptr<ViewController> controller, bool animated, std::function<void()> completion = {});
  // Dismisses what this controller (or its presentation context) presents, or, for a presented
  // controller, itself, with everything presented above it.
  void dismiss(bool animated, std::function<void()> completion = {});
  std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }

 protected:
  // Makes the view; the default is a plain view filling the main screen.
  virtual void loadView();
  // The children that appear and disappear with this controller: all of them for a plain one.
  virtual std::vector<std::shared_ptr<ViewController>> childViewControllersForAppearance() const { return children_; }
  // Swaps `from` for `to` inside this container's view, with their appearance callbacks when this
  // container is showing. `to` may already be a child; `from` stays one.
  void transition(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to,
                  bool animated);
  void setParent(const std::shared_ptr<ViewController>& parent) { parent_ = parent; }
  void removeChild(const ViewController* child);

 private:
  enum class Appearance { disappeared, appearing, appeared, disappearing };

  std::shared_ptr<ViewController> rootOfContainment();

  std::shared_ptr<View> view_;
  std::string title_;
  Appearance appearance_ = Appearance::disappeared;
  std::weak_ptr<ViewController> parent_;
  std::vector<std::shared_ptr<ViewController>> children_;
  std::shared_ptr<ViewController> presented_;
  std::weak_ptr<ViewController> presenting_;
};

}  // namespace obx::platform
