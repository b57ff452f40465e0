// PickerView: spinning wheels of rows, one selected row per component. Main queue only.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

class PickerView : public View {
 public:
  OBX_RUNTIME_CLASS(PickerView, "PickerView", View)
  PickerView() : PickerView(Rect{}) {}
  explicit PickerView(Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }

  // One list of row titles per component; the selection of each starts at row 0.
  void setComponents(std::vector<std::vector<std::string>> components) {
    components_ = std::move(components);
    selected_.assign(components_.size(), 0);
    visualStateChanged();
  }
  std::size_t numberOfComponents() const { return components_.size(); }
  std::size_t numberOfRowsInComponent(std::size_t component) const {
    return component < components_.size() ? components_[component].size() : 0;
  }
  std::string titleForRow(std::size_t row, std::size_t component) const {
    if (component >= components_.size() || row >= components_[component].size()) return {};
    return components_[component][row];
  }
  // -1 for a component that does not exist.
  long selectedRowInComponent(std::size_t component) const {
    return component < selected_.size() ? static_cast<long>(selected_[component]) : -1;
  }
  void selectRow(std::size_t row, std::size_t component) {
    if (component >= components_.size() || row >= components_[component].size()) return;
    selected_[component] = row;
    visualStateChanged();
  }
  // The user spins a wheel: the selection changes and the delegate block hears of it.
  void userSelectRow(std::size_t row, std::size_t component) {
    selectRow(row, component);
    if (didSelectRow_) didSelectRow_(row, component);
  }
  void setDidSelectRow(std::function<void(std::size_t row, std::size_t component)> block) {
    didSelectRow_ = std::move(block);
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    std::string rows;
    for (std::size_t i = 0; i < selected_.size(); ++i) rows += (i ? "," : "") + std::to_string(selected_[i]);
    parts.push_back("selectedRows = (" + rows + ")");
  }

 private:
  std::vector<std::vector<std::string>> components_;
  std::vector<std::size_t> selected_;
  std::function<void(std::size_t, std::size_t)> didSelectRow_;
};

}  // namespace obx::platform
