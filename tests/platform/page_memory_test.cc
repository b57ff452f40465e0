// Pictures of a screen's size live in memory taken from the kernel; smaller blocks in the heap. A
// block must go back the way it came, whichever side of the threshold a vector grows or shrinks to.
#include <gtest/gtest.h>

#include <cstdint>

#include "platform/graphics/bitmap_context.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/page_memory.h"

namespace obx::platform {
namespace {

constexpr std::size_t kWordsAtThreshold = kPageMemoryThreshold / sizeof(std::uint32_t);

TEST(PageMemoryTest, StorageCrossesTheThresholdBothWays) {
  struct Case {
    const char* name;
    std::size_t from;
    std::size_t to;
  };
  for (const Case& c : {Case{"grows into pages", 16, kWordsAtThreshold + 1},
                        Case{"starts at the threshold", kWordsAtThreshold, kWordsAtThreshold * 3},
                        Case{"shrinks to the heap", kWordsAtThreshold * 2, 100},
                        Case{"just under to just over", kWordsAtThreshold - 1, kWordsAtThreshold}}) {
    SCOPED_TRACE(c.name);
    PixelStorage pixels(c.from, 0xFF112233u);
    pixels.resize(c.to, 0xFF445566u);
    pixels.shrink_to_fit();
    PixelStorage copy = pixels;
    ASSERT_EQ(copy.size(), c.to);
    EXPECT_EQ(copy.front(), 0xFF112233u);
    EXPECT_EQ(copy.back(), c.to > c.from ? 0xFF445566u : 0xFF112233u);
    EXPECT_EQ(copy, pixels);
  }
}

TEST(PageMemoryTest, TakenMemoryIsZeroedAndWritable) {
  const std::size_t bytes = kPageMemoryThreshold * 2 + 12;
  auto* memory = static_cast<unsigned char*>(takePageMemory(bytes));
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[0], 0);
  EXPECT_EQ(memory[bytes - 1], 0);
  memory[bytes - 1] = 7;
  releasePageMemory(memory, bytes);
  EXPECT_EQ(takePageMemory(0), nullptr);
}

// Contexts of a full screen, one after another as a recorder draws them: each starts black (or
// clear) whatever the last one held, and its picture survives the context.
TEST(PageMemoryTest, FullScreenContextsStartCleanAndOutliveTheirSurface) {
  std::shared_ptr<const Bitmap> first;
  {
    auto context = BitmapContext::make({390, 844}, true, 1.0);
    ASSERT_NE(context, nullptr);
    context->fillRect(Rect::make(0, 0, 390, 844), Color{1, 1, 1, 1});
    first = context->makeImage();
  }
  auto opaque = BitmapContext::make({390, 844}, true, 1.0);
  auto opaqueImage = opaque->makeImage();
  EXPECT_EQ(opaqueImage->pixelAt(200, 400), (Pixel{0, 0, 0, 255}));
  auto clear = BitmapContext::make({390, 844}, false, 1.0);
  EXPECT_EQ(clear->makeImage()->pixelAt(389, 843), (Pixel{0, 0, 0, 0}));
  EXPECT_EQ(first->pixelAt(389, 843), (Pixel{255, 255, 255, 255}));
  auto jpeg = jpegRepresentation(*first, 0.5);
  ASSERT_TRUE(jpeg);
  auto decoded = decodeJPEG(std::string_view(reinterpret_cast<const char*>(jpeg->data()), jpeg->size()));
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->width(), 390);
  EXPECT_EQ(decoded->pixelAt(195, 422), (Pixel{255, 255, 255, 255}));
}

}  // namespace
}  // namespace obx::platform
