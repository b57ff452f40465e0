// The properties an application sets on its screens and views, and the helper that masks a
// declarative subtree. Each is stored on the instance itself, so it lives and dies with the view.
// Main thread only, like every use of views.
//
//   obx::setObxScreenName(*controller, "Checkout");
//   obx::setObxMasking(*cardNumberLabel, obx::MaskView::mask);
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace obx::platform {
class View;
class ViewController;
}  // namespace obx::platform

namespace obx {

// How a view is treated by replay masking: by the configured categories, always blocked, or always
// shown (an unmasked input shows its subtree too).
enum class MaskView { automatic, mask, unmask };

// The name the screen is reported under, instead of the controller's class name.
std::optional<std::string> obxScreenName(const platform::ViewController& controller);
void setObxScreenName(platform::ViewController& controller, std::optional<std::string> name);
// No replay images of this screen; analytics go on.
bool obxDisableRecordingOnThisScreen(const platform::ViewController& controller);
void setObxDisableRecordingOnThisScreen(platform::ViewController& controller, bool value);
// Neither analytics nor replay of this screen.
bool obxDisableAnalyticsAndRecordingOnThisScreen(const platform::ViewController& controller);
void setObxDisableAnalyticsAndRecordingOnThisScreen(platform::ViewController& controller, bool value);

MaskView obxMasking(const platform::View& view);
void setObxMasking(platform::View& view, MaskView value);
// A selector-like tag reported with touches and form errors.
std::optional<std::string> obxStringTag(const platform::View& view);
void setObxStringTag(platform::View& view, std::optional<std::string> tag);
// The view's form is tracked.
bool obxFormTrack(const platform::View& view);
void setObxFormTrack(platform::View& view, bool value);

// Masks a declarative subtree: lays a clear, non-interactive view marked `mask` over `content`'s
// bounds, which replay then blocks, and returns it. It follows the content when it moves, resizes
// or scrolls.
std::shared_ptr<platform::View> obxMaskView(platform::View& content);

}  // namespace obx
