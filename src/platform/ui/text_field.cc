#include "platform/ui/text_field.h"

#include "platform/graphics/text_drawing.h"
#include "platform/ui/application.h"
#include "platform/ui/notification_names.h"

namespace obx::platform {

void TextField::setText(std::string text) {
  if (text == text_) return;
  text_ = std::move(text);
  visualStateChanged();
}

bool TextField::becomeFirstResponder() {
  if (editing_ || !isEnabled()) return false;
  editing_ = true;
  sendActionsForControlEvents(kControlEventEditingDidBegin);
  Application::shared()->notificationCenter()->post(kTextFieldTextDidBeginEditingNotification, sharedAs<Object>());
  return true;
}

bool TextField::resignFirstResponder() {
  if (!editing_) return false;
  editing_ = false;
  sendActionsForControlEvents(kControlEventEditingDidEnd);
  Application::shared()->notificationCenter()->post(kTextFieldTextDidEndEditingNotification, sharedAs<Object>());
  return true;
}

void TextField::insertText(const std::string& text) { userEdited(text_ + text); }

void TextField::deleteBackward() {
  if (text_.empty()) return;
  std::string text = text_;
  // Remove one UTF-8 character, not one byte.
  std::size_t cut = text.size() - 1;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  text.erase(cut);
  userEdited(std::move(text));
}

void TextField::userEdited(std::string text) {
  setText(std::move(text));
  sendActionsForControlEvents(kControlEventEditingChanged);
  Application::shared()->notificationCenter()->post(kTextFieldTextDidChangeNotification, sharedAs<Object>());
}

void TextField::describeState(std::vector<std::string>& parts) const {
  Control::describeState(parts);
  parts.push_back("text = " + quoteForDescription(secureTextEntry_ ? std::string(text_.size(), '*') : text_));
  if (!placeholder_.empty()) parts.push_back("placeholder = " + quoteForDescription(placeholder_));
}

}  // namespace obx::platform

namespace obx::platform {

void TextField::drawRect(BitmapContext& context, Rect bounds) const {
  TextStyle style;
  std::string shown = text_;
  if (text_.empty()) {
    shown = placeholder_;
    style.color = Color{0.7, 0.7, 0.72, 1};
  } else if (secureTextEntry_) {
    shown.clear();
    for (std::size_t i = 0; i < text_.size(); ++i) shown += "\u2022";
  }
  drawText(context, shown, Rect{{bounds.origin.x + 6, bounds.origin.y}, {bounds.size.width - 12, bounds.size.height}}, style);
}

}  // namespace obx::platform
