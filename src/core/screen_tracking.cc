#include "obx/screen_tracking.h"

#include "obx/facade.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/view.h"

namespace obx {
namespace {

// The view an `OBXViewModifier` puts around its content. Joining a window is this toolkit's
// appearance of declarative content; leaving one does nothing, the next screen ends this one.
class ScreenTrackingView : public platform::View {
 public:
  OBX_RUNTIME_CLASS(ScreenTrackingView, "OBXScreenTrackingView", View)
  ScreenTrackingView(platform::Rect frame, OBXViewModifier modifier)
      : View(frame), modifier_(std::move(modifier)) {
    setDeclaredClass(runtimeClass());
  }

 protected:
  void didMoveToWindow() override {
    if (window()) OBX::startNewScreen(modifier_.name, modifier_.disableRecordingOnThisScreen);
  }

 private:
  OBXViewModifier modifier_;
};

}  // namespace

std::shared_ptr<platform::View> OBXViewModifier::body(std::shared_ptr<platform::View> content) const {
  if (!content) return nullptr;
  auto frame = content->frame();
  auto wrapper = std::make_shared<ScreenTrackingView>(frame, *this);
  content->setFrame(platform::Rect{{0, 0}, frame.size});
  wrapper->addSubview(content);
  return wrapper;
}

std::shared_ptr<platform::View> obxTrackScreen(std::shared_ptr<platform::View> content, std::string name,
                                               bool disableRecordingOnThisScreen) {
  return OBXViewModifier{std::move(name), disableRecordingOnThisScreen}.body(std::move(content));
}

}  // namespace obx
