// ScreenControllers: the view controllers of one top-level widget, which screen detection reads. A
// window without pages has one plain controller, named for the window. A window that holds a tab
// widget or a stacked widget (the first one met, breadth first) has a tab bar controller with one
// controller per page, the current page selected: switching pages moves the appearance callbacks
// from one page's controller to the other's, and the current page is the screen.
//
// A page that holds a tab or stacked widget of its own stands for that one's pages, so the screen is
// the innermost current page. A name comes from the widget's "obxScreenName" property, else its
// objectName, else its class name. Each screen's view carries the form mark, so that the fields of a
// screen make its form. GUI thread only.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace obx::qt {

class ScreenControllers {
 public:
  // The mirrored view of a widget, or null when it is not mirrored.
  using ViewLookup = std::function<std::shared_ptr<platform::View>(const QWidget*)>;

  explicit ScreenControllers(QWidget* topLevel) : topLevel_(topLevel) {}

  // Brings the window's controllers in line with the pages shown now. `content` is the mirror of the
  // top-level widget itself. Returns whether the window's root controller was replaced. Selecting a
  // page places its view inside the container's view: the caller puts it back where the mirror keeps
  // it, in `pagesParent()`.
  bool sync(platform::Window& window, const std::shared_ptr<platform::View>& content, const ViewLookup& viewOf);
  // The widget whose children are the pages, or null.
  QWidget* pagesParent() const;
  static std::string screenName(const QWidget& widget);

 private:
  static QWidget* findPages(QWidget* topLevel);
  // The pages that are screens, depth first: a page that holds pages of its own stands for them.
  // `current` becomes the index of the one shown, if the path to it is all current pages.
  static void collectPages(QWidget* container, bool onPath, std::vector<QWidget*>& leaves, int& current);
  static std::vector<QWidget*> pagesOf(QWidget* container);
  static int currentIndex(QWidget* container);
  static void describe(platform::ViewController& controller, const QWidget& widget);

  QPointer<QWidget> topLevel_;
  QPointer<QWidget> pages_;
  std::vector<QPointer<QWidget>> pageWidgets_;
  int current_ = -1;
  std::shared_ptr<platform::ViewController> root_;
  std::vector<std::shared_ptr<platform::ViewController>> pageControllers_;
};

}  // namespace obx::qt
