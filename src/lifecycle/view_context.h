// ViewContext: one detected screen, as ScreenDetector publishes it.
#pragma once

#include <string>

#include "platform/dispatch/clock.h"

namespace obx {

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

struct ViewContext {
  std::string screenID;          // fresh UUID string of this screen
  platform::Date dateScreen = 0;  // when it was detected
  std::string name;
  Size size;                     // logical size used for images
  bool discardRecording = false;  // no images for this screen
  bool discardTracking = false;   // no analytics and no images
  bool operator==(const ViewContext&) const = default;
};

enum class ViewStateCycle { viewDidLoad, viewWillAppear, viewDidAppear, viewWillDisappear, viewDidDisappear };

}  // namespace obx
