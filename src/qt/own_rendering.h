// OwnRendering: marks the time during which the adapter itself makes widgets paint (a grab of a
// window, the render of a painted widget). The paint events that causes are not the application's
// changes, and the mirror ignores them; otherwise each image would ask for the next. GUI thread only.
#pragma once

namespace obx::qt {

class OwnRendering {
 public:
  OwnRendering() { ++depth(); }
  ~OwnRendering() { --depth(); }
  OwnRendering(const OwnRendering&) = delete;
  OwnRendering& operator=(const OwnRendering&) = delete;

  static bool inProgress() { return depth() > 0; }

 private:
  static int& depth() {
    static int value = 0;
    return value;
  }
};

}  // namespace obx::qt
