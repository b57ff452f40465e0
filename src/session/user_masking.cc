#include "session/user_masking.h"

namespace obx {

void UserMasking::addAutomaticMasks(const std::vector<MaskAutomatic>& list) {
  // Read, append to the copy, write back: each step under its own lock, never a call out inside one.
  auto masks = automaticMasksInScreen_.get();
  for (MaskAutomatic mask : list) {
    if (mask == MaskAutomatic::all) {
      masks.insert(masks.end(), {MaskAutomatic::labels, MaskAutomatic::inputs, MaskAutomatic::images,
                                 MaskAutomatic::webViews});
    } else {
      masks.push_back(mask);
    }
  }
  automaticMasksInScreen_.set(std::move(masks));
}

void UserMasking::addRect(platform::Rect rect) {
  rect_.mutate([&](auto& list) { list.push_back(rect); });
}

void UserMasking::clear() {
  rect_.set({});
  automaticMasksInScreen_.set({});
}

}  // namespace obx
