// TextView: a scrollable multi-line text, editable unless told otherwise. `insertText` stands for
// the user's typing and posts the text-change notification; the focus moving in and out posts the
// begin- and end-editing notifications. Main queue only.
#pragma once

#include <string>

#include "platform/graphics/text_drawing.h"
#include "platform/ui/application.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/scroll_view.h"

namespace obx::platform {

class TextView : public ScrollView {
 public:
  OBX_RUNTIME_CLASS(TextView, "TextView", ScrollView)
  TextView() : TextView(Rect{}) {}
  explicit TextView(Rect frame) : ScrollView(frame) { setDeclaredClass(runtimeClass()); }

  const std::string& text() const { return text_; }
  void setText(std::string text) {
    if (text == text_) return;
    text_ = std::move(text);
    visualStateChanged();
  }
  bool isEditable() const { return editable_; }
  void setEditable(bool editable) { editable_ = editable; }
  bool isEditing() const { return editing_; }
  bool becomeFirstResponder() {
    if (editing_ || !editable_) return false;
    editing_ = true;
    Application::shared()->notificationCenter()->post(kTextViewTextDidBeginEditingNotification, sharedAs<Object>());
    return true;
  }
  bool resignFirstResponder() {
    if (!editing_) return false;
    editing_ = false;
    Application::shared()->notificationCenter()->post(kTextViewTextDidEndEditingNotification, sharedAs<Object>());
    return true;
  }
  void insertText(const std::string& text) {
    if (!editable_) return;
    setText(text_ + text);
    Application::shared()->notificationCenter()->post(kTextViewTextDidChangeNotification, sharedAs<Object>());
  }
  // Removes the last character, as the delete key does.
  void deleteBackward() {
    if (!editable_ || text_.empty()) return;
    std::string text = text_;
    std::size_t cut = text.size() - 1;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    text.erase(cut);
    setText(std::move(text));
    Application::shared()->notificationCenter()->post(kTextViewTextDidChangeNotification, sharedAs<Object>());
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    ScrollView::describeState(parts);
    parts.push_back("text = " + quoteForDescription(text_));
  }
  bool hasContents() const override { return !text_.empty(); }
  void drawRect(BitmapContext& context, Rect bounds) const override {
    TextStyle style;
    style.numberOfLines = 0;
    drawText(context, text_, Rect{{bounds.origin.x + 4, bounds.origin.y + 4}, {bounds.size.width - 8, bounds.size.height - 8}},
             style);
  }

 private:
  std::string text_;
  bool editable_ = true;
  bool editing_ = false;
};

}  // namespace obx::platform
