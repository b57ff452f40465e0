// Screens built as declarative content: the host names each one where it builds it, instead of
// leaving the SDK to find a name (a hosting controller carries none of its own).
//
//   auto screen = obx::obxTrackScreen(content, "Checkout");
//   window->setRootViewController(std::make_shared<obx::platform::HostingController>(screen));
//
// Each appearance starts a new screen through `OBX::startNewScreen`, so this works only with
// `manualScreenTracking` set in the configuration; without it every appearance logs why nothing
// happened. Main thread only, like every use of views.
#pragma once

#include <memory>
#include <string>

namespace obx::platform {
class View;
}  // namespace obx::platform

namespace obx {

// The modifier behind `obxTrackScreen`: its body is the content with an on-appear action that
// starts the screen named `name`.
struct OBXViewModifier {
  std::string name;
  bool disableRecordingOnThisScreen = false;

  // A view holding `content` at its origin, sized like it, that starts the screen each time it
  // joins a window. Null when `content` is null.
  std::shared_ptr<platform::View> body(std::shared_ptr<platform::View> content) const;
};

// `content` with `OBXViewModifier{name, disableRecordingOnThisScreen}` applied.
std::shared_ptr<platform::View> obxTrackScreen(std::shared_ptr<platform::View> content, std::string name,
                                               bool disableRecordingOnThisScreen = false);

}  // namespace obx
