#include "qt/widget_kinds.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QAbstractSlider>
#include <QCheckBox>
#include <QComboBox>
#include <QFontInfo>
#include <QGraphicsOpacityEffect>
#include <QGraphicsView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QScrollBar>
#include <QStyle>
#include <QTextDocumentFragment>
#include <QTextEdit>

#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/slider.h"
#include "platform/ui/switch_control.h"
#include "platform/ui/text_field.h"
#include "platform/ui/text_view.h"
#include "qt/painted_view.h"

namespace obx::qt {

namespace {

// The width a check box's or radio button's box takes before its caption, in points.
constexpr int kToggleBox = 20;

platform::Color toColor(const QColor& color) {
  return platform::Color{color.redF(), color.greenF(), color.blueF(), color.alphaF()};
}

std::string toString(const QString& text) { return text.toStdString(); }

// Qt's own classes, whose painting the mirror reads from their state; any other class that has no
// child widgets and is not one of the kinds paints itself.
bool isQtContainerClass(const QWidget& widget) {
  const char* name = widget.metaObject()->className();
  return name[0] == 'Q' && widget.metaObject()->superClass() != nullptr &&
         (qstrcmp(name, "QWidget") == 0 || widget.inherits("QFrame") || widget.inherits("QTabWidget") ||
          widget.inherits("QTabBar") || widget.inherits("QGroupBox") || widget.inherits("QSplitter") ||
          widget.inherits("QDialog") || widget.inherits("QMainWindow") || widget.inherits("QToolBar") ||
          widget.inherits("QStatusBar") || widget.inherits("QMenuBar") || widget.inherits("QMenu") ||
          widget.inherits("QDialogButtonBox") || widget.inherits("QStackedWidget") ||
          widget.inherits("QScrollBar") || widget.inherits("QSizeGrip") || widget.inherits("QFocusFrame") ||
          widget.inherits("QRubberBand") || widget.inherits("QSplitterHandle") || widget.inherits("QToolBox") ||
          widget.inherits("QProgressBar") || widget.inherits("QAbstractSpinBox") || widget.inherits("QDockWidget"));
}

bool isSecure(const QLineEdit& edit) {
  auto mode = edit.echoMode();
  return mode == QLineEdit::Password || mode == QLineEdit::NoEcho || mode == QLineEdit::PasswordEchoOnEdit;
}

std::string labelText(const QLabel& label) {
  const QString text = label.text();
  if (label.textFormat() == Qt::PlainText || (label.textFormat() == Qt::AutoText && !Qt::mightBeRichText(text))) {
    return toString(text);
  }
  return toString(QTextDocumentFragment::fromHtml(text).toPlainText());
}

}  // namespace

QString editedText(const QWidget& widget) {
  if (auto* edit = qobject_cast<const QLineEdit*>(&widget)) return edit->text();
  if (auto* edit = qobject_cast<const QTextEdit*>(&widget)) return edit->toPlainText();
  if (auto* edit = qobject_cast<const QPlainTextEdit*>(&widget)) return edit->toPlainText();
  return {};
}

namespace {

// The label's horizontal alignment as it shows on screen: leading and trailing follow the layout
// direction; justified text is drawn from the left.
platform::TextAlignment textAlignment(const QLabel& label) {
  const Qt::Alignment shown = QStyle::visualAlignment(label.layoutDirection(), label.alignment());
  if (shown & Qt::AlignHCenter) return platform::TextAlignment::center;
  if (shown & Qt::AlignRight) return platform::TextAlignment::right;
  return platform::TextAlignment::left;
}

std::shared_ptr<const platform::Image> pixmapImage(const QPixmap& pixmap) {
  return platform::Image::make("pixmap-" + std::to_string(pixmap.cacheKey()),
                               toBitmap(pixmap.toImage(), pixmap.devicePixelRatio()));
}

}  // namespace

WidgetKind kindOf(const QWidget& widget) {
  if (auto* label = qobject_cast<const QLabel*>(&widget)) {
    return label->pixmap().isNull() ? WidgetKind::label : WidgetKind::image;
  }
  if (qobject_cast<const QLineEdit*>(&widget)) return WidgetKind::textField;
  if (qobject_cast<const QTextEdit*>(&widget) || qobject_cast<const QPlainTextEdit*>(&widget)) return WidgetKind::textView;
  if (qobject_cast<const QCheckBox*>(&widget) || qobject_cast<const QRadioButton*>(&widget)) return WidgetKind::toggle;
  if (qobject_cast<const QAbstractButton*>(&widget)) return WidgetKind::button;
  if (qobject_cast<const QComboBox*>(&widget)) return WidgetKind::comboBox;
  if (qobject_cast<const QAbstractSlider*>(&widget) && !qobject_cast<const QScrollBar*>(&widget)) return WidgetKind::slider;
  // A graphics view draws its scene itself: pixels, not a scroll view of child widgets.
  if (qobject_cast<const QGraphicsView*>(&widget) || widget.inherits("QOpenGLWidget")) return WidgetKind::painted;
  if (qobject_cast<const QAbstractItemView*>(&widget)) return WidgetKind::itemView;
  if (qobject_cast<const QAbstractScrollArea*>(&widget)) return WidgetKind::scrollArea;
  if (isQtContainerClass(widget)) return WidgetKind::container;
  // A class of the application's own: a container when it holds widgets, else it paints itself.
  for (QObject* child : widget.children()) {
    if (child->isWidgetType()) return WidgetKind::container;
  }
  return WidgetKind::painted;
}

bool mirrorsChildren(WidgetKind kind) {
  return kind == WidgetKind::container || kind == WidgetKind::scrollArea || kind == WidgetKind::itemView;
}

std::shared_ptr<platform::View> makeView(WidgetKind kind, const QWidget& widget) {
  switch (kind) {
    case WidgetKind::container: return std::make_shared<platform::View>();
    case WidgetKind::label: return std::make_shared<platform::Label>();
    case WidgetKind::image: return std::make_shared<platform::ImageView>();
    case WidgetKind::textField: return std::make_shared<platform::TextField>();
    case WidgetKind::textView: return std::make_shared<platform::TextView>();
    case WidgetKind::button:
    case WidgetKind::comboBox: return std::make_shared<platform::Button>();
    case WidgetKind::toggle: return std::make_shared<platform::Switch>();
    case WidgetKind::slider: return std::make_shared<platform::Slider>();
    case WidgetKind::scrollArea:
    case WidgetKind::itemView: return std::make_shared<platform::ScrollView>();
    case WidgetKind::painted: return std::make_shared<PaintedView>(const_cast<QWidget*>(&widget));
  }
  return std::make_shared<platform::View>();
}

void updateView(platform::View& view, WidgetKind kind, const QWidget& widget) {
  double alpha = 1.0;
  if (widget.isWindow()) alpha = widget.windowOpacity();
  if (auto* effect = qobject_cast<QGraphicsOpacityEffect*>(widget.graphicsEffect()); effect && effect->isEnabled()) {
    alpha *= effect->opacity();
  }
  if (view.alpha() != alpha) view.setAlpha(alpha);
  std::optional<platform::Color> background;
  if (widget.isWindow() || widget.autoFillBackground()) background = toColor(widget.palette().color(widget.backgroundRole()));
  if (view.backgroundColor() != background) view.setBackgroundColor(background);
  if (view.isUserInteractionEnabled() != widget.isEnabled()) view.setUserInteractionEnabled(widget.isEnabled());

  switch (kind) {
    case WidgetKind::label: {
      auto& label = static_cast<platform::Label&>(view);
      const auto& qlabel = static_cast<const QLabel&>(widget);
      label.setText(labelText(qlabel));
      const double size = QFontInfo(qlabel.font()).pixelSize();
      if (label.fontSize() != size) label.setFontSize(size);
      auto color = toColor(qlabel.palette().color(qlabel.foregroundRole()));
      if (label.textColor() != color) label.setTextColor(color);
      // Every setter below redraws and so asks replay for a new image: each only on a change.
      const int lines = qlabel.wordWrap() ? 0 : 1;
      if (label.numberOfLines() != lines) label.setNumberOfLines(lines);
      label.setTextAlignment(textAlignment(qlabel));
      break;
    }
    case WidgetKind::image: {
      auto& image = static_cast<platform::ImageView&>(view);
      const QPixmap pixmap = static_cast<const QLabel&>(widget).pixmap();
      if (!image.image() || image.image()->name != "pixmap-" + std::to_string(pixmap.cacheKey())) {
        image.setImage(pixmapImage(pixmap));
      }
      break;
    }
    case WidgetKind::textField: {
      auto& field = static_cast<platform::TextField&>(view);
      const auto& edit = static_cast<const QLineEdit&>(widget);
      const bool secure = isSecure(edit);
      if (field.isSecureTextEntry() != secure) field.setSecureTextEntry(secure);
      // A secret's characters never enter the mirror: its length is all a secure field shows.
      std::string text = secure ? std::string(static_cast<std::size_t>(edit.text().size()), '*') : toString(edit.text());
      if (field.text() != text) field.setText(std::move(text));
      if (field.placeholder() != toString(edit.placeholderText())) field.setPlaceholder(toString(edit.placeholderText()));
      break;
    }
    case WidgetKind::textView: {
      static_cast<platform::TextView&>(view).setText(toString(editedText(widget)));
      break;
    }
    case WidgetKind::button:
      static_cast<platform::Button&>(view).setTitle(toString(static_cast<const QAbstractButton&>(widget).text()));
      break;
    case WidgetKind::comboBox:
      static_cast<platform::Button&>(view).setTitle(toString(static_cast<const QComboBox&>(widget).currentText()));
      break;
    case WidgetKind::toggle: {
      auto& toggle = static_cast<platform::Switch&>(view);
      const auto& button = static_cast<const QAbstractButton&>(widget);
      if (toggle.isOn() != button.isChecked()) toggle.setOn(button.isChecked());
      // The switch draws no text: its caption is a label beside the box, masked as labels are.
      if (toggle.subviews().empty()) toggle.addSubview(std::make_shared<platform::Label>());
      auto& caption = static_cast<platform::Label&>(*toggle.subviews().front());
      caption.setText(toString(button.text()));
      const double size = QFontInfo(button.font()).pixelSize();
      if (caption.fontSize() != size) caption.setFontSize(size);
      const platform::Rect frame = platform::Rect::make(kToggleBox, 0, std::max(0, button.width() - kToggleBox), button.height());
      if (caption.frame() != frame) caption.setFrame(frame);
      break;
    }
    case WidgetKind::slider: {
      auto& slider = static_cast<platform::Slider&>(view);
      const auto& qslider = static_cast<const QAbstractSlider&>(widget);
      if (slider.minimumValue() != qslider.minimum() || slider.maximumValue() != qslider.maximum()) {
        slider.setRange(qslider.minimum(), qslider.maximum());
      }
      if (slider.value() != qslider.value()) slider.setValue(qslider.value());
      break;
    }
    case WidgetKind::painted:
      static_cast<PaintedView&>(view).contentChanged();
      break;
    case WidgetKind::container:
    case WidgetKind::scrollArea:
    case WidgetKind::itemView:
      break;
  }
}

platform::Point contentOffset(const QWidget& widget) {
  const auto* area = qobject_cast<const QAbstractScrollArea*>(&widget);
  if (!area) return {};
  platform::Point offset{static_cast<double>(area->horizontalScrollBar()->value()),
                         static_cast<double>(area->verticalScrollBar()->value())};
  // An item view that scrolls by items keeps item numbers in its bars: the first cell's place says
  // how far its content has moved, in pixels.
  if (const auto* items = qobject_cast<const QAbstractItemView*>(area); items && items->model()) {
    QModelIndex first = items->model()->index(0, 0, items->rootIndex());
    if (first.isValid()) {
      QRect rect = items->visualRect(first);
      if (items->verticalScrollMode() == QAbstractItemView::ScrollPerItem) offset.y = -rect.top();
      if (items->horizontalScrollMode() == QAbstractItemView::ScrollPerItem) offset.x = -rect.left();
    }
  }
  return offset;
}

platform::Rect toRect(const QRect& rect) {
  return platform::Rect::make(rect.x(), rect.y(), rect.width(), rect.height());
}

std::shared_ptr<const platform::Bitmap> toBitmap(const QImage& source, double scale) {
  if (source.isNull()) return nullptr;
  QImage image = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(image.width()) * image.height());
  for (int y = 0; y < image.height(); ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(image.constScanLine(y));
    std::copy(row, row + image.width(), pixels.begin() + static_cast<std::ptrdiff_t>(y) * image.width());
  }
  return std::make_shared<const platform::Bitmap>(image.width(), image.height(), scale, pixels);
}

}  // namespace obx::qt
