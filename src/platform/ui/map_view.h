// MapView: a view showing a map around a centre coordinate. Main queue only.
#pragma once

#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx::platform {

struct Coordinate {
  double latitude = 0;
  double longitude = 0;
  bool operator==(const Coordinate&) const = default;
};

class MapView : public View {
 public:
  OBX_RUNTIME_CLASS(MapView, "MapView", View)
  MapView() : MapView(Rect{}) {}
  explicit MapView(Rect frame) : View(frame) { setDeclaredClass(runtimeClass()); }

  Coordinate centerCoordinate() const { return center_; }
  void setCenterCoordinate(Coordinate center) {
    if (center == center_) return;
    center_ = center;
    visualStateChanged();
  }

 protected:
  void describeState(std::vector<std::string>& parts) const override {
    parts.push_back("center = {" + formatCoordinate(center_.latitude) + ", " + formatCoordinate(center_.longitude) + "}");
  }
  bool hasContents() const override { return true; }
  BitmapKind contentsKind() const override { return BitmapKind::image; }
  void drawRect(BitmapContext& context, Rect bounds) const override {
    context.fillRect(bounds, Color{0.8, 0.92, 0.75, 1});
    for (double x = 10; x < bounds.size.width; x += 40) context.fillRect(Rect::make(x, 0, 4, bounds.size.height), Color{1, 1, 1, 1});
    for (double y = 10; y < bounds.size.height; y += 40) context.fillRect(Rect::make(0, y, bounds.size.width, 4), Color{1, 1, 1, 1});
  }

 private:
  Coordinate center_;
};

}  // namespace obx::platform
