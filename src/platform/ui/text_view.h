// TextView: a scrollable multi-line text, editable unless told otherwise. `insertText` stands for
// the user's typing and posts the text-change notification. Main queue only.
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
  void insertText(const std::string& text) {
    if (!editable_) return;
    setText(text_ + text);
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
};

}  // namespace obx::platform
