#include "gestures.h"

#include <cstdio>
#include <string>

#include "platform/ui/application.h"
#include "platform/ui/label.h"
#include "platform/ui/touch_synthesizer.h"

namespace demo {
namespace {

constexpr int kRows = 60;
constexpr double kRowHeight = 64;

}  // namespace

std::shared_ptr<obx::platform::ScrollView> addList(obx::platform::View& view) {
  using obx::platform::Rect;
  const Rect screen = obx::platform::Application::shared()->mainScreen()->bounds();
  auto list = std::make_shared<obx::platform::ScrollView>(Rect::make(0, 0, screen.size.width, screen.size.height));
  list->setContentSize({screen.size.width, kRows * kRowHeight});
  list->setBackgroundColor(obx::platform::Color{0.97, 0.97, 0.98, 1});
  for (int row = 0; row < kRows; ++row) {
    auto label = std::make_shared<obx::platform::Label>(Rect::make(16, row * kRowHeight + 8, screen.size.width - 32, 48),
                                                        "Lamp no. " + std::to_string(row + 1));
    label->setBackgroundColor(obx::platform::Color{1, 1, 1, 1});
    list->addSubview(label);
  }
  view.addSubview(list);
  return list;
}

void touchTheList(const std::shared_ptr<obx::platform::ScrollView>& list, const std::function<void(double)>& run) {
  using obx::platform::Point;
  obx::platform::TouchSynthesizer fingers(obx::platform::Application::shared(), run);
  // Where the list shows on the screen: its top left corner in the window.
  const Point origin = list->convertPointToView({list->contentOffset().x, list->contentOffset().y}, nullptr);
  const double x = origin.x + list->bounds().size.width / 2;
  fingers.tap({x, origin.y + 2.5 * kRowHeight});
  run(0.5);
  fingers.drag({x, origin.y + 600}, {x, origin.y + 250}, 8, 0.8);
  run(0.5);
  fingers.fling({x, origin.y + 600}, {x, origin.y + 300}, 6, 0.15);
  std::printf("obx-demo: tapped a row, dragged the list and flung it to %.0f points down\n", list->contentOffset().y);
}

}  // namespace demo
