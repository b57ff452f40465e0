#include "qt/widget_source.h"

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QEvent>
#include <QScrollBar>
#include <QTreeView>

#include "obx/qt.h"
#include "obx/view_properties.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "qt/mirror_window.h"
#include "qt/own_rendering.h"

namespace obx::qt {

namespace {
// Cells of an item view mirrored at most, so that a huge table costs a bounded flush.
constexpr int kMaxCells = 400;

MaskView maskOf(const QWidget& widget) {
  QVariant mask = widget.property(qt_property::kMask);
  if (!mask.isValid()) return MaskView::automatic;
  if (mask.typeId() == QMetaType::Bool) return mask.toBool() ? MaskView::mask : MaskView::unmask;
  const QString text = mask.toString();
  if (text == QLatin1String("mask")) return MaskView::mask;
  if (text == QLatin1String("unmask")) return MaskView::unmask;
  return MaskView::automatic;
}
}  // namespace

WidgetSource::WidgetSource(MirrorWindows& windows) : windows_(windows) {}

WidgetSource::~WidgetSource() { stop(); }

void WidgetSource::start() {
  if (started_) return;
  started_ = true;
  qApp->installEventFilter(this);
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->isVisible()) pendingTopLevels_.emplace_back(widget);
  }
  requestFlush();
}

void WidgetSource::stop() {
  if (!started_) return;
  started_ = false;
  qApp->removeEventFilter(this);
  std::vector<const QWidget*> tops;
  for (const auto& [key, top] : topLevels_) tops.push_back(key);
  for (const QWidget* key : tops) hideTopLevel(key);
  nodes_.clear();
  dirty_.clear();
  structureDirty_.clear();
  pendingTopLevels_.clear();
}

std::shared_ptr<platform::View> WidgetSource::viewOf(const QWidget* widget) const {
  auto found = nodes_.find(widget);
  return found == nodes_.end() ? nullptr : found->second.view;
}

std::shared_ptr<platform::Window> WidgetSource::windowOf(const QWidget* topLevel) const {
  auto found = topLevels_.find(topLevel);
  return found == topLevels_.end() ? nullptr : found->second.window;
}

bool WidgetSource::isScreenWindow(const QWidget& widget) {
  const Qt::WindowType type = widget.windowType();
  return type == Qt::Window || type == Qt::Dialog || type == Qt::Sheet || type == Qt::Tool;
}

bool WidgetSource::isPopup(const QWidget& widget) {
  const Qt::WindowType type = widget.windowType();
  return type == Qt::Popup || type == Qt::ToolTip;
}

QWidget* WidgetSource::scrollAreaOfViewport(const QWidget& widget) {
  auto* area = qobject_cast<QAbstractScrollArea*>(widget.parentWidget());
  return area && area->viewport() == &widget ? area : nullptr;
}

QWidget* WidgetSource::mirrorParent(const QWidget& widget) {
  QWidget* parent = widget.parentWidget();
  if (!parent) return nullptr;
  if (QWidget* area = scrollAreaOfViewport(*parent)) return area;
  return parent;
}

bool WidgetSource::eventFilter(QObject* watched, QEvent* event) {
  if (!watched->isWidgetType()) return false;
  auto* widget = static_cast<QWidget*>(watched);
  switch (event->type()) {
    case QEvent::Show:
    case QEvent::Hide:
      if (widget->isWindow()) {
        topLevelChanged(widget);
      } else if (QWidget* parent = mirrorParent(*widget)) {
        markStructure(parent);
      }
      break;
    case QEvent::ChildAdded:
    case QEvent::ChildRemoved: {
      // A child being destroyed no longer says it is a widget: any child counts.
      QWidget* area = scrollAreaOfViewport(*widget);
      markStructure(area ? area : widget);
      break;
    }
    case QEvent::ParentChange:
      if (auto found = nodes_.find(widget); found != nodes_.end()) {
        // The old parent drops it at its next structure pass; the new one takes it.
        for (auto& [key, node] : nodes_) {
          if (std::find(node.children.begin(), node.children.end(), widget) != node.children.end()) {
            structureDirty_.insert(key);
          }
        }
      }
      if (QWidget* parent = mirrorParent(*widget)) markStructure(parent);
      if (widget->isWindow()) topLevelChanged(widget);
      break;
    case QEvent::Paint:
      if (OwnRendering::inProgress()) break;
      if (QWidget* area = scrollAreaOfViewport(*widget)) {
        markState(area);
      } else {
        markState(widget);
      }
      break;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::LayoutRequest:
    case QEvent::EnabledChange:
    case QEvent::FontChange:
    case QEvent::PaletteChange:
    case QEvent::StyleChange:
      markState(widget);
      break;
    case QEvent::DynamicPropertyChange:
      // A screen's name or recording flag may have changed with it.
      if (nodes_.count(widget)) screensDirty_ = true;
      markState(widget);
      break;
    case QEvent::WindowActivate:
      if (auto found = topLevels_.find(widget); found != topLevels_.end() && !found->second.owner) {
        windows_.windowActivated(found->second.window);
      }
      break;
    default:
      break;
  }
  if (inputObserver_) {
    switch (event->type()) {
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonRelease:
      case QEvent::MouseMove:
      case QEvent::TouchBegin:
      case QEvent::TouchUpdate:
      case QEvent::TouchEnd:
      case QEvent::Wheel:
      case QEvent::FocusIn:
      case QEvent::FocusOut:
      case QEvent::KeyRelease:
        // Input reads the mirror: bring it up to date first, so that a touch finds its view.
        if (flushPending_) flush();
        inputObserver_(*widget, *event);
        break;
      default:
        break;
    }
  }
  return false;
}

void WidgetSource::requestFlush() {
  if (flushPending_) return;
  flushPending_ = true;
  QMetaObject::invokeMethod(this, [this] { flush(); }, Qt::QueuedConnection);
}

void WidgetSource::markState(QWidget* widget) {
  if (!nodes_.count(widget)) return;
  dirty_.insert(widget);
  requestFlush();
}

void WidgetSource::markStructure(QWidget* widget) {
  if (!nodes_.count(widget)) return;
  structureDirty_.insert(widget);
  screensDirty_ = true;
  requestFlush();
}

void WidgetSource::topLevelChanged(QWidget* widget) {
  pendingTopLevels_.emplace_back(widget);
  screensDirty_ = true;
  requestFlush();
}

void WidgetSource::flush() {
  flushPending_ = false;
  if (!started_) return;
  auto pending = std::move(pendingTopLevels_);
  pendingTopLevels_.clear();
  for (const auto& widget : pending) {
    if (widget.isNull()) continue;
    const bool mirrored = topLevels_.count(widget.data()) > 0;
    const bool wanted = widget->isWindow() && widget->isVisible() && (isScreenWindow(*widget) || isPopup(*widget));
    if (wanted && !mirrored) showTopLevel(widget.data());
    if (!wanted && mirrored) hideTopLevel(widget.data());
  }
  // Each pass may mark more (a new child is mirrored with its own subtree at once); those wait for
  // the next flush.
  auto structure = std::move(structureDirty_);
  structureDirty_.clear();
  for (const QWidget* key : structure) {
    auto found = nodes_.find(key);
    if (found != nodes_.end() && !found->second.widget.isNull()) syncChildren(found->second);
  }
  auto dirty = std::move(dirty_);
  dirty_.clear();
  for (const QWidget* key : dirty) {
    auto found = nodes_.find(key);
    if (found != nodes_.end() && !found->second.widget.isNull()) updateNode(found->second);
  }
  if (screensDirty_) {
    screensDirty_ = false;
    for (auto& [key, top] : topLevels_) {
      if (!top.owner) syncScreens(top);
    }
  }
}

void WidgetSource::showTopLevel(QWidget* widget) {
  TopLevel top;
  top.widget = widget;
  if (isPopup(*widget)) {
    // Over the window the user works in: the one it belongs to, else the key window.
    QWidget* owner = widget->parentWidget() ? widget->parentWidget()->window() : QApplication::activeWindow();
    if ((!owner || !topLevels_.count(owner)) && !topLevels_.empty()) {
      auto key = windows_.keyWindow();
      for (const auto& [k, t] : topLevels_) {
        if (t.window == key) owner = t.widget.data();
      }
    }
    if (!owner || !topLevels_.count(owner)) return;
    top.owner = owner;
  }
  Node& node = ensureNode(widget);
  if (top.owner) {
    topLevels_.emplace(widget, std::move(top));
    windowOf(topLevels_[widget].owner)->addSubview(node.view);
    return;
  }
  top.window = std::make_shared<MirrorWindow>(widget, platform::Rect::make(0, 0, widget->width(), widget->height()));
  top.screens = std::make_unique<ScreenControllers>(widget);
  auto window = top.window;
  auto& stored = topLevels_.emplace(widget, std::move(top)).first->second;
  syncScreens(stored);
  windows_.windowShown(window);
}

void WidgetSource::hideTopLevel(const QWidget* widget) {
  auto found = topLevels_.find(widget);
  if (found == topLevels_.end()) return;
  TopLevel top = std::move(found->second);
  topLevels_.erase(found);
  // Popups over it go with it.
  std::vector<const QWidget*> popups;
  for (const auto& [key, each] : topLevels_) {
    if (each.owner == widget) popups.push_back(key);
  }
  for (const QWidget* popup : popups) hideTopLevel(popup);
  if (auto node = nodes_.find(widget); node != nodes_.end() && top.owner) node->second.view->removeFromSuperview();
  forget(widget);
  if (top.window) windows_.windowHidden(top.window);
}

WidgetKind WidgetSource::kindFor(const QWidget& widget) {
  // A window's own view is the plain content of its platform window, whatever its class.
  return widget.isWindow() && !isPopup(widget) ? WidgetKind::container : kindOf(widget);
}

WidgetSource::Node& WidgetSource::ensureNode(QWidget* widget) {
  const WidgetKind kind = kindFor(*widget);
  auto found = nodes_.find(widget);
  if (found != nodes_.end() && found->second.kind == kind) return found->second;
  if (found != nodes_.end()) forget(widget);
  Node& node = nodes_[widget];
  node.widget = widget;
  node.kind = kind;
  node.view = makeView(kind, *widget);
  const QWidget* key = widget;
  node.destroyed = QObject::connect(widget, &QObject::destroyed, this, [this, key] {
    if (auto found = nodes_.find(key); found != nodes_.end() && !topLevels_.count(key)) {
      found->second.view->removeFromSuperview();
    }
    if (topLevels_.count(key)) {
      hideTopLevel(key);
    } else {
      forget(key);
    }
  });
  // References into the map stay valid as it grows; only `forget` erases.
  updateNode(node);
  if (mirrorsChildren(kind)) syncChildren(node);
  return node;
}

void WidgetSource::forget(const QWidget* widget) {
  auto found = nodes_.find(widget);
  if (found == nodes_.end()) return;
  Node node = std::move(found->second);
  nodes_.erase(found);
  dirty_.erase(widget);
  structureDirty_.erase(widget);
  QObject::disconnect(node.destroyed);
  for (const QWidget* child : node.children) forget(child);
}

platform::Rect WidgetSource::frameOf(const QWidget& widget) const {
  if (widget.isWindow()) {
    if (!isPopup(widget)) return platform::Rect::make(0, 0, widget.width(), widget.height());
    auto top = topLevels_.find(&widget);
    const QWidget* owner = top != topLevels_.end() ? top->second.owner : nullptr;
    QPoint origin = owner ? widget.mapToGlobal(QPoint()) - owner->mapToGlobal(QPoint()) : widget.pos();
    return platform::Rect::make(origin.x(), origin.y(), widget.width(), widget.height());
  }
  const auto kind = kindFor(widget);
  if (kind == WidgetKind::scrollArea || kind == WidgetKind::itemView) {
    // The scroll view is the viewport: what the bars and frame leave of the area.
    const auto& area = static_cast<const QAbstractScrollArea&>(widget);
    QRect viewport = area.viewport()->geometry();
    return platform::Rect::make(widget.x() + viewport.x(), widget.y() + viewport.y(), viewport.width(),
                                viewport.height());
  }
  QRect geometry = widget.geometry();
  if (QWidget* parent = widget.parentWidget(); parent && scrollAreaOfViewport(*parent)) {
    // Inside a viewport, in the content's coordinates: Qt moves the content, the mirror its offset.
    platform::Point offset = contentOffset(*scrollAreaOfViewport(*parent));
    return platform::Rect::make(geometry.x() + offset.x, geometry.y() + offset.y, geometry.width(), geometry.height());
  }
  return toRect(geometry);
}

void WidgetSource::updateNode(Node& node) {
  QWidget& widget = *node.widget;
  if (kindFor(widget) != node.kind) {
    // A label that took a pixmap, say: a view of the other kind in its place.
    if (QWidget* parent = mirrorParent(widget); parent && nodes_.count(parent) && !widget.isWindow()) {
      markStructure(parent);
      forget(&widget);
    }
    return;
  }
  platform::View& view = *node.view;
  platform::Rect frame = frameOf(widget);
  if (view.frame() != frame) view.setFrame(frame);
  if (widget.isWindow() && !isPopup(widget)) {
    if (auto top = topLevels_.find(&widget); top != topLevels_.end() && top->second.window) {
      auto& window = *top->second.window;
      if (window.frame() != frame) {
        window.setFrame(frame);
        windows_.windowResized(top->second.window);
      }
      updateView(window, WidgetKind::container, widget);
    }
  }
  updateView(view, node.kind, widget);
  const bool secure = view.isKindOfClass(platform::TextField::runtimeClass()) &&
                      static_cast<platform::TextField&>(view).isSecureTextEntry();
  // A secret is masked whatever the application or the server ask.
  const MaskView mask = secure ? MaskView::mask : maskOf(widget);
  if (obxMasking(view) != mask) setObxMasking(view, mask);
  if (!widget.objectName().isEmpty() && !obxStringTag(view)) setObxStringTag(view, widget.objectName().toStdString());
  if (node.kind == WidgetKind::scrollArea || node.kind == WidgetKind::itemView) {
    auto& scroll = static_cast<platform::ScrollView&>(view);
    const auto& area = static_cast<const QAbstractScrollArea&>(widget);
    const QScrollBar* h = area.horizontalScrollBar();
    const QScrollBar* v = area.verticalScrollBar();
    platform::Size size{frame.size.width + (h->maximum() - h->minimum()), frame.size.height + (v->maximum() - v->minimum())};
    if (node.kind == WidgetKind::scrollArea) {
      const QRect content = area.viewport()->childrenRect();
      if (!content.isEmpty()) {
        size = platform::Size{std::max<double>(content.width(), frame.size.width),
                              std::max<double>(content.height(), frame.size.height)};
      }
    }
    if (scroll.contentSize() != size) scroll.setContentSize(size);
    platform::Point offset = contentOffset(widget);
    if (scroll.contentOffset() != offset) scroll.setContentOffset(offset);
    if (node.kind == WidgetKind::itemView) syncCells(node);
  }
}

std::vector<QWidget*> WidgetSource::mirroredChildren(const Node& node) const {
  std::vector<QWidget*> children;
  const QWidget* parent = node.widget.data();
  if (node.kind == WidgetKind::scrollArea || node.kind == WidgetKind::itemView) {
    parent = static_cast<const QAbstractScrollArea*>(parent)->viewport();
  }
  for (QObject* child : parent->children()) {
    if (!child->isWidgetType()) continue;
    auto* widget = static_cast<QWidget*>(child);
    if (widget->isWindow() || widget->isHidden()) continue;
    children.push_back(widget);
  }
  return children;
}

void WidgetSource::syncChildren(Node& node) {
  if (!mirrorsChildren(node.kind)) return;
  std::vector<QWidget*> children = mirroredChildren(node);
  std::vector<std::shared_ptr<platform::View>> views = node.cells;
  std::vector<const QWidget*> keys;
  for (QWidget* child : children) {
    Node& childNode = ensureNode(child);
    views.push_back(childNode.view);
    keys.push_back(child);
  }
  Node& self = node;
  for (const QWidget* old : self.children) {
    if (std::find(keys.begin(), keys.end(), old) == keys.end()) forget(old);
  }
  self.children = std::move(keys);
  platform::View& container = *self.view;
  for (std::size_t i = 0; i < views.size(); ++i) {
    const auto& subviews = container.subviews();
    if (i < subviews.size() && subviews[i] == views[i]) continue;
    container.insertSubview(views[i], i);
  }
  while (container.subviews().size() > views.size()) container.subviews().back()->removeFromSuperview();
}

void WidgetSource::syncCells(Node& node) {
  auto& items = static_cast<QAbstractItemView&>(*node.widget);
  const QAbstractItemModel* model = items.model();
  std::vector<std::shared_ptr<platform::View>> cells;
  if (model) {
    const platform::Point offset = contentOffset(items);
    const int height = items.viewport()->height();
    auto* tree = qobject_cast<QTreeView*>(&items);
    QModelIndex row = items.indexAt(QPoint(1, 1));
    if (!row.isValid()) row = model->index(0, 0, items.rootIndex());
    std::size_t used = 0;
    for (; row.isValid() && used < kMaxCells; row = tree ? tree->indexBelow(row) : row.sibling(row.row() + 1, 0)) {
      bool below = false;
      for (int column = 0; column < model->columnCount(row.parent()); ++column) {
        QModelIndex cell = row.sibling(row.row(), column);
        QRect rect = items.visualRect(cell);
        if (rect.isEmpty()) continue;
        if (rect.top() >= height) {
          below = true;
          break;
        }
        std::shared_ptr<platform::Label> label;
        if (used < node.cells.size()) label = std::static_pointer_cast<platform::Label>(node.cells[used]);
        if (!label) label = std::make_shared<platform::Label>();
        ++used;
        label->setText(cell.data(Qt::DisplayRole).toString().toStdString());
        platform::Rect frame = platform::Rect::make(rect.x() + offset.x, rect.y() + offset.y, rect.width(), rect.height());
        if (label->frame() != frame) label->setFrame(frame);
        const double size = QFontInfo(items.font()).pixelSize();
        if (label->fontSize() != size) label->setFontSize(size);
        cells.push_back(label);
      }
      if (below) break;
    }
  }
  const bool changed = cells != node.cells;
  node.cells = std::move(cells);
  if (changed) syncChildren(node);
}

void WidgetSource::syncScreens(TopLevel& top) {
  if (!top.window || top.widget.isNull()) return;
  auto content = viewOf(top.widget.data());
  if (!content) return;
  const bool replaced = top.screens->sync(*top.window, content, [this](const QWidget* widget) { return viewOf(widget); });
  // Selecting a page put its view in the container's: the mirror puts it back where it belongs.
  if (QWidget* pages = top.screens->pagesParent()) {
    if (auto found = nodes_.find(pages); found != nodes_.end()) syncChildren(found->second);
  }
  if (auto found = nodes_.find(top.widget.data()); found != nodes_.end()) syncChildren(found->second);
  if (replaced) windows_.rootControllerReplaced(top.window);
}

}  // namespace obx::qt
