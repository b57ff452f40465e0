// VerticallyCenteredTextLayer: a text layer whose string sits in the middle of its height, moved
// across by the width of a view on its left. The text's height is measured, unless an expected size
// is given; with `invertedYAxis` false the move goes up instead of down, for contexts whose y axis
// points up. Nothing in the wireframe walk makes one; it is the layer a recorder uses for text it
// draws itself.
#pragma once

#include <optional>

#include "platform/graphics/text_layer.h"

namespace obx {

class VerticallyCenteredTextLayer : public platform::TextLayer {
 public:
  std::optional<double> leftViewFrame;
  bool invertedYAxis = true;
  std::optional<platform::Size> expectedSize;

  const char* className() const override { return "VerticallyCenteredTextLayer"; }

 protected:
  void drawInContext(platform::BitmapContext& context) const override;
};

}  // namespace obx
