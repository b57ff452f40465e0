#include "qt/input_bridge.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAbstractSlider>
#include <QComboBox>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextEdit>
#include <QTouchEvent>

#include "obx/facade.h"
#include "obx/qt.h"
#include "platform/ui/control.h"
#include "platform/ui/event.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/window.h"
#include "qt/widget_kinds.h"

namespace obx::qt {

namespace {
// A scroll area still for this long has stopped being dragged.
constexpr int kScrollSettleMilliseconds = 200;

bool isTextView(const QWidget& widget) {
  return qobject_cast<const QTextEdit*>(&widget) || qobject_cast<const QPlainTextEdit*>(&widget);
}

// The scroll area a widget scrolls: itself, or the one whose viewport holds it.
QAbstractScrollArea* scrollAreaAround(QWidget* widget) {
  for (; widget; widget = widget->parentWidget()) {
    if (auto* area = qobject_cast<QAbstractScrollArea*>(widget)) return area;
    if (widget->isWindow()) break;
  }
  return nullptr;
}
}  // namespace

InputBridge::InputBridge(std::shared_ptr<platform::Application> application, WidgetSource& widgets)
    : application_(std::move(application)), widgets_(widgets) {
  settle_.setSingleShot(true);
  settle_.setInterval(kScrollSettleMilliseconds);
  QObject::connect(&settle_, &QTimer::timeout, this, [this] { settleScrolls(); });
  widgets_.setInputObserver([this](QWidget& widget, QEvent& event) { input(widget, event); });
}

InputBridge::~InputBridge() { widgets_.setInputObserver({}); }

double InputBridge::now() const { return application_->scheduler()->clock().now(); }

void InputBridge::input(QWidget& widget, QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
      mouse(widget, static_cast<QMouseEvent&>(event));
      break;
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
      touches(widget, static_cast<QTouchEvent&>(event));
      break;
    case QEvent::Wheel:
      if (auto* area = scrollAreaAround(&widget)) scrolled(*area);
      break;
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::KeyRelease:
      editing(widget, event.type());
      break;
    default:
      break;
  }
}

std::shared_ptr<platform::Touch> InputBridge::makeTouch(QWidget& widget, QPointF position) {
  QWidget* top = widget.window();
  auto window = widgets_.windowOf(top);
  if (!window) return nullptr;
  const QPointF inWindow = widget.mapTo(top, position);
  auto touch = std::make_shared<platform::Touch>();
  touch->setPhase(platform::TouchPhase::began);
  touch->setTimestamp(now());
  touch->setWindow(window);
  touch->setLocationInWindow({inWindow.x(), inWindow.y()});
  // The nearest mirrored widget is the touched view; its chain up to the window offers the recognisers
  // (the scroll views'), the outermost first.
  std::shared_ptr<platform::View> view;
  for (QWidget* each = &widget; each && !view; each = each->parentWidget()) view = widgets_.viewOf(each);
  touch->setView(view);
  std::vector<std::shared_ptr<platform::View>> chain;
  for (auto each = view; each; each = each->superview()) chain.push_back(each);
  std::vector<std::shared_ptr<platform::GestureRecognizer>> recognizers;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    auto own = (*it)->gestureRecognizers();
    recognizers.insert(recognizers.end(), own.begin(), own.end());
  }
  touch->setGestureRecognizers(std::move(recognizers));
  connectControl(widget);
  return touch;
}

void InputBridge::mouse(QWidget& widget, QMouseEvent& event) {
  // A press not taken by a widget goes on to its parents: the same event, seen once.
  if (event.type() == lastType_ && event.timestamp() == lastTimestamp_ && event.globalPosition() == lastGlobal_) return;
  lastType_ = event.type();
  lastTimestamp_ = event.timestamp();
  lastGlobal_ = event.globalPosition();
  if (event.type() == QEvent::MouseButtonPress) {
    mouseTouch_ = makeTouch(widget, event.position());
    if (mouseTouch_) send({mouseTouch_});
    return;
  }
  if (!mouseTouch_) return;
  QWidget* top = widget.window();
  const QPointF inWindow = widget.mapTo(top, event.position());
  mouseTouch_->setLocationInWindow({inWindow.x(), inWindow.y()});
  mouseTouch_->setTimestamp(now());
  if (event.type() == QEvent::MouseMove) {
    if (!(event.buttons() & Qt::LeftButton)) return;
    mouseTouch_->setPhase(platform::TouchPhase::moved);
    if (auto* area = scrollAreaAround(&widget)) scrolled(*area);
    send({mouseTouch_});
    return;
  }
  mouseTouch_->setPhase(platform::TouchPhase::ended);
  auto ended = std::move(mouseTouch_);
  send({ended});
}

void InputBridge::touches(QWidget& widget, QTouchEvent& event) {
  std::vector<std::shared_ptr<platform::Touch>> touches;
  for (const QEventPoint& point : event.points()) {
    auto& touch = fingers_[point.id()];
    if (point.state() == QEventPoint::Pressed || !touch) {
      touch = makeTouch(widget, point.position());
      if (!touch) continue;
    } else {
      const QPointF inWindow = widget.mapTo(widget.window(), point.position());
      touch->setLocationInWindow({inWindow.x(), inWindow.y()});
      touch->setTimestamp(now());
      touch->setPhase(point.state() == QEventPoint::Released  ? platform::TouchPhase::ended
                      : point.state() == QEventPoint::Updated ? platform::TouchPhase::moved
                                                              : platform::TouchPhase::stationary);
    }
    touch->setForce(point.pressure());
    touch->setMaximumPossibleForce(point.device() && point.device()->capabilities().testFlag(QInputDevice::Capability::Pressure) ? 1.0 : 0.0);
    touches.push_back(touch);
  }
  for (const QEventPoint& point : event.points()) {
    if (point.state() == QEventPoint::Released) fingers_.erase(point.id());
  }
  if (!touches.empty()) send(touches);
}

void InputBridge::send(const std::vector<std::shared_ptr<platform::Touch>>& touches) {
  auto event = std::make_shared<platform::Event>(platform::EventKind::touches, now());
  event->setAllTouches(touches);
  application_->sendEvent(*event);
}

void InputBridge::connectControl(QWidget& widget) {
  if (connected_.count(&widget)) return;
  const QWidget* key = &widget;
  QPointer<QWidget> guard(&widget);
  auto activated = [this, guard](std::uint32_t events) {
    if (!guard.isNull()) controlActivated(guard.data(), events);
  };
  if (auto* button = qobject_cast<QAbstractButton*>(&widget)) {
    QObject::connect(button, &QAbstractButton::clicked, this, [activated] { activated(platform::kControlEventTouchUpInside); });
  } else if (auto* combo = qobject_cast<QComboBox*>(&widget)) {
    QObject::connect(combo, &QComboBox::activated, this, [activated] { activated(platform::kControlEventTouchUpInside); });
  } else if (auto* slider = qobject_cast<QAbstractSlider*>(&widget); slider && !qobject_cast<QScrollBar*>(slider)) {
    QObject::connect(slider, &QAbstractSlider::sliderReleased, this, [activated] { activated(platform::kControlEventValueChanged); });
  } else {
    return;
  }
  connected_.insert(key);
  QObject::connect(&widget, &QObject::destroyed, this, [this, key] { connected_.erase(key); });
}

void InputBridge::controlActivated(QWidget* widget, std::uint32_t events) {
  if (widgets_.hasPendingChanges()) widgets_.flush();
  if (auto view = widgets_.viewOf(widget); view && view->isKindOfClass(platform::Control::runtimeClass())) {
    static_cast<platform::Control&>(*view).sendActionsForControlEvents(events);
  }
  if (widget->property(qt_property::kFormSubmit).toBool()) OBX::formSuccess();
}

void InputBridge::editing(QWidget& widget, QEvent::Type type) {
  const bool field = qobject_cast<QLineEdit*>(&widget) != nullptr;
  if (!field && !isTextView(widget)) return;
  auto view = widgets_.viewOf(&widget);
  if (!view) return;
  const char* name = nullptr;
  if (type == QEvent::FocusIn) {
    textChanged(widget);
    name = field ? platform::kTextFieldTextDidBeginEditingNotification : platform::kTextViewTextDidBeginEditingNotification;
  } else if (type == QEvent::FocusOut) {
    seenTexts_.erase(&widget);
    name = field ? platform::kTextFieldTextDidEndEditingNotification : platform::kTextViewTextDidEndEditingNotification;
  } else {
    if (!textChanged(widget)) return;
    name = field ? platform::kTextFieldTextDidChangeNotification : platform::kTextViewTextDidChangeNotification;
  }
  application_->notificationCenter()->post(name, view);
}

bool InputBridge::textChanged(QWidget& widget) {
  const QString text = editedText(widget);
  const std::size_t digest = qHash(text) ^ (static_cast<std::size_t>(text.size()) << 1);
  auto [entry, added] = seenTexts_.try_emplace(&widget);
  // A widget at the address of one that is gone, or one focused before the bridge knew it, counts
  // as changed: a change is never missed.
  const bool changed = added || entry->second.widget.isNull() || entry->second.digest != digest;
  entry->second = SeenText{&widget, digest};
  return changed;
}

void InputBridge::scrolled(QWidget& area) {
  auto view = widgets_.viewOf(&area);
  if (!view || !view->isKindOfClass(platform::ScrollView::runtimeClass())) return;
  auto& scroll = static_cast<platform::ScrollView&>(*view);
  if (!scroll.isDragging()) {
    scroll.beginDragging();
    scrolling_.emplace_back(&area);
  }
  settle_.start();
}

void InputBridge::settleScrolls() {
  if (widgets_.hasPendingChanges()) widgets_.flush();
  auto scrolling = std::move(scrolling_);
  scrolling_.clear();
  for (const auto& area : scrolling) {
    if (area.isNull()) continue;
    auto view = widgets_.viewOf(area.data());
    if (!view || !view->isKindOfClass(platform::ScrollView::runtimeClass())) continue;
    auto& scroll = static_cast<platform::ScrollView&>(*view);
    scroll.endDragging(false);
    // The offset reported once more, still: the drag has ended there.
    scroll.setContentOffset(scroll.contentOffset());
  }
}

}  // namespace obx::qt
