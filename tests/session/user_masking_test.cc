#include <gtest/gtest.h>

#include "session/user_masking.h"

namespace obx {
namespace {

// Categories accumulate until cleared, `all` stands for the four others, and clear empties the
// rectangles too.
TEST(UserMaskingTest, AddsExpandsAndClears) {
  UserMasking masking;
  masking.addAutomaticMasks({MaskAutomatic::labels});
  masking.addAutomaticMasks({MaskAutomatic::all});
  masking.addRect(platform::Rect::make(1, 2, 3, 4));
  EXPECT_EQ(masking.automaticMasksInScreen(),
            (std::vector<MaskAutomatic>{MaskAutomatic::labels, MaskAutomatic::labels, MaskAutomatic::inputs,
                                        MaskAutomatic::images, MaskAutomatic::webViews}));
  EXPECT_EQ(masking.rect(), std::vector<platform::Rect>{platform::Rect::make(1, 2, 3, 4)});
  masking.clear();
  EXPECT_TRUE(masking.automaticMasksInScreen().empty());
  EXPECT_TRUE(masking.rect().empty());
}

}  // namespace
}  // namespace obx
