#include "qt/screen_controllers.h"

#include <QQueue>
#include <QStackedWidget>
#include <QTabWidget>

#include "obx/qt.h"
#include "obx/view_properties.h"
#include "platform/ui/tab_bar_controller.h"

namespace obx::qt {

std::string ScreenControllers::screenName(const QWidget& widget) {
  QVariant property = widget.property(qt_property::kScreenName);
  if (property.isValid() && !property.toString().isEmpty()) return property.toString().toStdString();
  if (!widget.objectName().isEmpty()) return widget.objectName().toStdString();
  return widget.metaObject()->className();
}

QWidget* ScreenControllers::findPages(QWidget* topLevel) {
  QQueue<QWidget*> queue;
  queue.enqueue(topLevel);
  while (!queue.isEmpty()) {
    QWidget* widget = queue.dequeue();
    // The root is looked into even when hidden: a page of a stack that is not the current one.
    if (widget == topLevel || !widget->isHidden()) {
      if (qobject_cast<QTabWidget*>(widget)) return widget;
      // The stack inside a tab widget is the tab widget's own.
      if (qobject_cast<QStackedWidget*>(widget) && !qobject_cast<QTabWidget*>(widget->parentWidget())) return widget;
    }
    for (QObject* child : widget->children()) {
      if (!child->isWidgetType()) continue;
      auto* childWidget = static_cast<QWidget*>(child);
      if (!childWidget->isWindow()) queue.enqueue(childWidget);
    }
  }
  return nullptr;
}

std::vector<QWidget*> ScreenControllers::pagesOf(QWidget* container) {
  std::vector<QWidget*> pages;
  if (auto* tabs = qobject_cast<QTabWidget*>(container)) {
    for (int i = 0; i < tabs->count(); ++i) pages.push_back(tabs->widget(i));
  } else if (auto* stack = qobject_cast<QStackedWidget*>(container)) {
    for (int i = 0; i < stack->count(); ++i) pages.push_back(stack->widget(i));
  }
  return pages;
}

int ScreenControllers::currentIndex(QWidget* container) {
  if (auto* tabs = qobject_cast<QTabWidget*>(container)) return tabs->currentIndex();
  if (auto* stack = qobject_cast<QStackedWidget*>(container)) return stack->currentIndex();
  return -1;
}

void ScreenControllers::describe(platform::ViewController& controller, const QWidget& widget) {
  setObxScreenName(controller, screenName(widget));
  setObxDisableRecordingOnThisScreen(controller, widget.property(qt_property::kDisableRecording).toBool());
}

void ScreenControllers::collectPages(QWidget* container, bool onPath, std::vector<QWidget*>& leaves, int& current) {
  std::vector<QWidget*> pages = pagesOf(container);
  const int index = currentIndex(container);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const bool currentHere = onPath && static_cast<int>(i) == index;
    if (QWidget* inner = findPages(pages[i])) {
      collectPages(inner, currentHere, leaves, current);
      continue;
    }
    if (currentHere) current = static_cast<int>(leaves.size());
    leaves.push_back(pages[i]);
  }
}

QWidget* ScreenControllers::pagesParent() const {
  if (current_ < 0 || static_cast<std::size_t>(current_) >= pageWidgets_.size()) return nullptr;
  QWidget* page = pageWidgets_[static_cast<std::size_t>(current_)].data();
  return page ? page->parentWidget() : nullptr;
}

bool ScreenControllers::sync(platform::Window& window, const std::shared_ptr<platform::View>& content,
                             const ViewLookup& viewOf) {
  if (topLevel_.isNull()) return false;
  QWidget* container = findPages(topLevel_.data());
  setObxFormTrack(*content, true);
  if (!container) {
    const bool replace = !root_ || root_->isKindOfClass(platform::TabBarController::runtimeClass());
    current_ = -1;
    if (replace) {
      pages_ = nullptr;
      pageWidgets_.clear();
      pageControllers_.clear();
      root_ = std::make_shared<platform::ViewController>();
      root_->setView(content);
    }
    describe(*root_, *topLevel_);
    if (replace) window.setRootViewController(root_);
    return replace;
  }

  std::vector<QWidget*> pages;
  int current = -1;
  collectPages(container, true, pages, current);
  current_ = current;
  bool samePages = container == pages_.data() && pages.size() == pageWidgets_.size();
  for (std::size_t i = 0; samePages && i < pages.size(); ++i) samePages = pages[i] == pageWidgets_[i].data();
  auto placePage = [&](std::size_t index) {
    if (index >= pages.size()) return;
    describe(*pageControllers_[index], *pages[index]);
    if (auto view = viewOf(pages[index])) {
      setObxFormTrack(*view, true);
      pageControllers_[index]->setView(view);
    }
  };
  if (samePages) {
    auto tabs = std::static_pointer_cast<platform::TabBarController>(root_);
    if (current >= 0) {
      placePage(static_cast<std::size_t>(current));
      tabs->setSelectedIndex(static_cast<std::size_t>(current));
    }
    return false;
  }

  pages_ = container;
  pageWidgets_.assign(pages.begin(), pages.end());
  pageControllers_.clear();
  for (std::size_t i = 0; i < pages.size(); ++i) pageControllers_.push_back(std::make_shared<platform::ViewController>());
  auto tabs = std::make_shared<platform::TabBarController>();
  tabs->setView(content);
  describe(*tabs, *topLevel_);
  for (std::size_t i = 0; i < pages.size(); ++i) placePage(i);
  tabs->setViewControllers(pageControllers_, false);
  if (current >= 0) tabs->setSelectedIndex(static_cast<std::size_t>(current));
  root_ = tabs;
  window.setRootViewController(root_);
  return true;
}

}  // namespace obx::qt
