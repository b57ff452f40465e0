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

 private:
  Coordinate center_;
};

}  // namespace obx::platform
