// InputBridge: the user's input on the widgets, as the SDK's platform sees it.
//
// - Mouse presses, moves and releases, and touch points, on any widget become platform touches sent
//   through the application's "sendEvent:", located in the window's coordinates (device-independent
//   pixels, whatever the scale factor), on the mirrored view under them with the recognisers of the
//   scroll views around it, so that touches carry scroll identifiers.
// - A scroll area moved by the wheel or a drag is dragging, for scroll focus time, until it has been
//   still for a moment.
// - Focus and edits of line edits and text edits post the platform's editing notifications (a key
//   released without changing the text, an arrow key say, posts no change), and
//   clicks of buttons, check boxes, radio buttons, combo boxes and sliders send their controls'
//   actions: the form analytics hear them as they hear the platform's own fields. A button with the
//   "obxFormSubmit" property submits the form.
//
// GUI thread only.
#pragma once

#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "platform/ui/application.h"
#include "platform/ui/touch.h"
#include "qt/widget_source.h"

class QMouseEvent;
class QTouchEvent;

namespace obx::qt {

class InputBridge : public QObject {
 public:
  InputBridge(std::shared_ptr<platform::Application> application, WidgetSource& widgets);
  ~InputBridge() override;

 private:
  void input(QWidget& widget, QEvent& event);
  void mouse(QWidget& widget, QMouseEvent& event);
  void touches(QWidget& widget, QTouchEvent& event);
  void connectControl(QWidget& widget);
  void controlActivated(QWidget* widget, std::uint32_t events);
  void editing(QWidget& widget, QEvent::Type type);
  // Whether the text of an edited widget differs from when it was last seen, and remembers it.
  bool textChanged(QWidget& widget);
  void scrolled(QWidget& widget);
  void settleScrolls();

  // The touch at a point of `widget`, began now; null when the widget is in no mirrored window.
  std::shared_ptr<platform::Touch> makeTouch(QWidget& widget, QPointF position);
  void send(const std::vector<std::shared_ptr<platform::Touch>>& touches);
  double now() const;

  std::shared_ptr<platform::Application> application_;
  WidgetSource& widgets_;
  std::shared_ptr<platform::Touch> mouseTouch_;
  std::unordered_map<int, std::shared_ptr<platform::Touch>> fingers_;
  // The last mouse event handled: Qt hands a propagated event to each parent in turn.
  QEvent::Type lastType_ = QEvent::None;
  quint64 lastTimestamp_ = 0;
  QPointF lastGlobal_;
  std::unordered_set<const QWidget*> connected_;
  // The text of each focused field as last seen, kept as a digest so that no secret is held.
  struct SeenText {
    QPointer<QWidget> widget;
    std::size_t digest = 0;
  };
  std::unordered_map<const QWidget*, SeenText> seenTexts_;
  std::vector<QPointer<QWidget>> scrolling_;
  QTimer settle_;
};

}  // namespace obx::qt
