// SearchBar: a bar with a text field for a search. The field is its subview. Main queue only.
#pragma once

#include <memory>

#include "platform/ui/text_field.h"

namespace obx::platform {

class SearchBar : public View {
 public:
  OBX_RUNTIME_CLASS(SearchBar, "SearchBar", View)
  SearchBar() : SearchBar(Rect{}) {}
  explicit SearchBar(Rect frame)
      : View(frame), searchTextField_(std::make_shared<TextField>(Rect{{8, 6}, {frame.size.width - 16, 32}})) {
    setDeclaredClass(runtimeClass());
  }

  // The field; added as subview when the bar first joins a window.
  std::shared_ptr<TextField> searchTextField() const { return searchTextField_; }
  std::string text() const { return searchTextField_->text(); }
  void setText(std::string text) { searchTextField_->setText(std::move(text)); }
  std::string placeholder() const { return searchTextField_->placeholder(); }
  void setPlaceholder(std::string placeholder) { searchTextField_->setPlaceholder(std::move(placeholder)); }

 protected:
  void didMoveToWindow() override {
    if (!searchTextField_->superview()) addSubview(searchTextField_);
  }

 private:
  std::shared_ptr<TextField> searchTextField_;
};

}  // namespace obx::platform
