// Builds and links against the installed SDK: reports its version, marks a screen and a view the
// way a host does through the public view properties, and names a declarative screen.
#include <cstdio>
#include <memory>

#include "obx/facade.h"
#include "obx/screen_tracking.h"
#include "obx/view_properties.h"
#include "platform/ui/label.h"
#include "platform/ui/view_controller.h"

int main() {
  std::printf("obx %s\n", obx::OBX::sdkVersion().value_or("?").c_str());
  auto controller = std::make_shared<obx::platform::ViewController>();
  obx::setObxScreenName(*controller, "Checkout");
  auto card = std::make_shared<obx::platform::Label>(obx::platform::Rect::make(0, 0, 200, 20), "4111 1111 1111 1111");
  obx::setObxMasking(*card, obx::MaskView::mask);
  auto declarative = obx::obxTrackScreen(card, "Card");
  bool marked = obx::obxMasking(*card) == obx::MaskView::mask && obx::obxScreenName(*controller) == "Checkout" &&
                declarative && card->superview() == declarative;
  std::printf("view properties %s\n", marked ? "set" : "missing");
  return obx::OBX::sdkVersion() && marked ? 0 : 1;
}
