// WidgetSource: the application's widgets as a source of views for the mirror. One application-wide
// event filter (it watches, never eats) hears what changes: show, hide, move, resize, children added
// and removed, reparenting, paint, layout requests, enabled, focus and property changes. Each event
// only marks the widget; `flush` then brings the marked parts of the mirror up to date, so nothing
// walks the whole widget tree at a tick. A widget is known by QPointer and forgotten on `destroyed`,
// so a widget deleted between an event and the next flush leaves no dangling pointer.
//
// For each visible top-level widget (windows and dialogs) it keeps a MirrorWindow whose subviews
// mirror the widget's visible children, in window coordinates (Qt's device-independent pixels, the
// platform's points), with the screen controllers of that window (screen_controllers.h). Popups
// (menus, tool tips, combo box lists) are drawn over the window they belong to, as views on top of
// it, and are no screen. GUI thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "qt/mirror_windows.h"
#include "qt/screen_controllers.h"
#include "qt/widget_kinds.h"

namespace obx::qt {

class MirrorWindow;

class WidgetSource : public QObject {
 public:
  // Hears the input events (mouse, touch, wheel, focus, key) the filter sees, after the mirror is
  // up to date; for the input bridge.
  using InputObserver = std::function<void(QWidget& widget, QEvent& event)>;

  explicit WidgetSource(MirrorWindows& windows);
  ~WidgetSource() override;

  // Installs the filter and mirrors the top-level widgets already shown.
  void start();
  // Removes the filter and every window of the mirror.
  void stop();
  // Brings what changed since the last call up to date; nothing to do costs one test.
  void flush();
  bool hasPendingChanges() const { return flushPending_; }

  void setInputObserver(InputObserver observer) { inputObserver_ = std::move(observer); }

  // The view that mirrors `widget`, or null when it is not mirrored (hidden, or not yet flushed).
  std::shared_ptr<platform::View> viewOf(const QWidget* widget) const;
  std::shared_ptr<platform::Window> windowOf(const QWidget* topLevel) const;
  std::size_t mirroredWidgets() const { return nodes_.size(); }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Node {
    QPointer<QWidget> widget;
    WidgetKind kind = WidgetKind::container;
    std::shared_ptr<platform::View> view;
    // The widgets mirrored as this one's children, as keys only.
    std::vector<const QWidget*> children;
    // An item view's visible cells.
    std::vector<std::shared_ptr<platform::View>> cells;
    QMetaObject::Connection destroyed;
  };
  struct TopLevel {
    QPointer<QWidget> widget;
    std::shared_ptr<MirrorWindow> window;
    std::unique_ptr<ScreenControllers> screens;
    // A popup belongs to this window's top-level, drawn over it.
    const QWidget* owner = nullptr;
  };

  static bool isScreenWindow(const QWidget& widget);
  static bool isPopup(const QWidget& widget);
  static WidgetKind kindFor(const QWidget& widget);
  // The widget whose mirror holds `widget`'s view: its parent, or the scroll area around a viewport.
  static QWidget* mirrorParent(const QWidget& widget);
  static QWidget* scrollAreaOfViewport(const QWidget& widget);
  std::vector<QWidget*> mirroredChildren(const Node& node) const;

  void requestFlush();
  void markState(QWidget* widget);
  void markStructure(QWidget* widget);
  void topLevelChanged(QWidget* widget);

  void showTopLevel(QWidget* widget);
  void hideTopLevel(const QWidget* widget);
  Node& ensureNode(QWidget* widget);
  void forget(const QWidget* widget);
  void updateNode(Node& node);
  void syncChildren(Node& node);
  void syncCells(Node& node);
  void syncScreens(TopLevel& top);
  platform::Rect frameOf(const QWidget& widget) const;

  MirrorWindows& windows_;
  InputObserver inputObserver_;
  bool started_ = false;
  bool flushPending_ = false;
  bool screensDirty_ = false;
  std::unordered_map<const QWidget*, Node> nodes_;
  std::unordered_map<const QWidget*, TopLevel> topLevels_;
  std::unordered_set<const QWidget*> dirty_;
  std::unordered_set<const QWidget*> structureDirty_;
  // Top-levels shown or hidden since the last flush, in that order.
  std::vector<QPointer<QWidget>> pendingTopLevels_;
};

}  // namespace obx::qt
