// TextField: a one-line editable text. `insertText` and `deleteBackward` stand for the user's typing:
// they change the text, send the editing-changed actions and post the text-change notification on
// the shared application's centre. Setting `text` from code does neither, as on the platform.
// Main queue only.
#pragma once

#include <string>

#include "platform/ui/control.h"

namespace obx::platform {

class TextField : public Control {
 public:
  OBX_RUNTIME_CLASS(TextField, "TextField", Control)
  TextField() : TextField(Rect{}) {}
  explicit TextField(Rect frame) : Control(frame) { setDeclaredClass(runtimeClass()); }

  const std::string& text() const { return text_; }
  void setText(std::string text);
  const std::string& placeholder() const { return placeholder_; }
  void setPlaceholder(std::string placeholder) {
    placeholder_ = std::move(placeholder);
    visualStateChanged();
  }
  bool isSecureTextEntry() const { return secureTextEntry_; }
  void setSecureTextEntry(bool secure) {
    secureTextEntry_ = secure;
    visualStateChanged();
  }
  bool isEditing() const { return editing_; }

  // Focus moves to the field (editing did begin) or away from it (editing did end); each sends its
  // actions and posts its notification.
  bool becomeFirstResponder();
  bool resignFirstResponder();
  void insertText(const std::string& text);
  void deleteBackward();

 protected:
  void describeState(std::vector<std::string>& parts) const override;
  bool hasContents() const override { return !text_.empty() || !placeholder_.empty(); }
  // The text, bullets for a secure entry, or the placeholder in grey when empty.
  void drawRect(BitmapContext& context, Rect bounds) const override;

 private:
  void userEdited(std::string text);

  std::string text_;
  std::string placeholder_;
  bool secureTextEntry_ = false;
  bool editing_ = false;
};

}  // namespace obx::platform
