// The kinds of widget the mirror knows, and how each becomes a platform view: the one place where a
// QWidget's state is turned into platform::ui values (texts, frames, colours, images). Nothing of Qt
// is kept in the views it makes. GUI thread only.
#pragma once

#include <QRect>
#include <memory>

#include "platform/ui/image.h"
#include "platform/ui/view.h"

class QImage;
class QWidget;

namespace obx::qt {

enum class WidgetKind {
  container,  // a plain widget, frame or page: a view with the palette's background when it fills one
  label,      // QLabel with text
  image,      // QLabel with a pixmap
  textField,  // QLineEdit
  textView,   // QTextEdit, QPlainTextEdit
  button,     // QAbstractButton that is not checkable as a box or radio
  toggle,     // QCheckBox, QRadioButton
  comboBox,   // QComboBox: its current text as a choice
  slider,     // QAbstractSlider but scroll bars
  scrollArea, // QAbstractScrollArea: a scroll view, the viewport's children as its content
  itemView,   // QAbstractItemView: a scroll view whose content is its visible cells as labels
  painted,    // a widget of a class the mirror does not know that paints itself: its pixels, as an image
};

WidgetKind kindOf(const QWidget& widget);
// Whether the mirror shows the widget's children: false for kinds that draw their whole content.
bool mirrorsChildren(WidgetKind kind);
// A new view of the kind.
std::shared_ptr<platform::View> makeView(WidgetKind kind, const QWidget& widget);
// Brings the view's own state (text, secure entry, value, colours, image, opacity) up to the widget's.
// The frame is the caller's: it depends on where the view sits in the mirror.
void updateView(platform::View& view, WidgetKind kind, const QWidget& widget);
// The text a line edit, text edit or plain text edit holds; empty for any other widget.
QString editedText(const QWidget& widget);
// The content offset in pixels of a scroll area or item view.
platform::Point contentOffset(const QWidget& scrollArea);

platform::Rect toRect(const QRect& rect);
// Premultiplied 32-bit ARGB pixels, as the platform keeps them; `scale` pixels per point.
std::shared_ptr<const platform::Bitmap> toBitmap(const QImage& image, double scale);

}  // namespace obx::qt
