// UserMasking: what the application asked to mask on the next recorded screen: categories
// (`setMaskingForCurrentScreen`) and rectangles. The facade writes it from any thread; replay reads
// both at the start of each screen and clears them after.
#pragma once

#include <utility>
#include <vector>

#include "base/read_write_lock.h"
#include "obx/enums.h"
#include "platform/ui/geometry.h"

namespace obx {

class UserMasking {
 public:
  std::vector<platform::Rect> rect() const { return rect_.get(); }
  std::vector<MaskAutomatic> automaticMasksInScreen() const { return automaticMasksInScreen_.get(); }
  // Appends the categories; `all` stands for the four others.
  void addAutomaticMasks(const std::vector<MaskAutomatic>& list);
  void addRect(platform::Rect rect);
  void clear();
  // Each list as it stands, emptied in the same step: what is added meanwhile is for the next
  // screen, never lost between a read and a clear.
  std::vector<platform::Rect> takeRect() {
    return rect_.mutate([](std::vector<platform::Rect>& value) { return std::exchange(value, {}); });
  }
  std::vector<MaskAutomatic> takeAutomaticMasksInScreen() {
    return automaticMasksInScreen_.mutate([](std::vector<MaskAutomatic>& value) { return std::exchange(value, {}); });
  }

 private:
  ReadWriteLock<std::vector<platform::Rect>> rect_;
  ReadWriteLock<std::vector<MaskAutomatic>> automaticMasksInScreen_;
};

}  // namespace obx
