// The properties an application sets on its controllers and views to name screens, leave them out
// and mark views. Each is an associated object on the instance: names with the copy policy, flags
// with the retain policy. Main queue, like every use of the views.
#pragma once

#include <optional>
#include <string>

#include "platform/ui/view.h"
#include "platform/ui/view_controller.h"

namespace obx {

enum class MaskView { automatic, mask, unmask };

// Association keys. The masking, string-tag and form-tag keys are fixed texts other parts look up.
inline constexpr char kOBXScreenNameKey[] = "OBXScreenNameKey";
inline constexpr char kOBXDisableRecordingKey[] = "OBXDisableRecordingOnThisScreenKey";
inline constexpr char kOBXDisableAnalyticsAndRecordingKey[] = "OBXDisableAnalyticsAndRecordingOnThisScreenKey";
inline constexpr char kOBXMaskingTagKey[] = "OBXMaskingTagKey";
inline constexpr char kOBXStringTagKey[] = "OBXStringTagKey";
inline constexpr char kOBXFormTagKey[] = "OBXFormTagKey";

std::optional<std::string> obxScreenName(const platform::ViewController& controller);
void setObxScreenName(platform::ViewController& controller, std::optional<std::string> name);
bool obxDisableRecordingOnThisScreen(const platform::ViewController& controller);
void setObxDisableRecordingOnThisScreen(platform::ViewController& controller, bool value);
bool obxDisableAnalyticsAndRecordingOnThisScreen(const platform::ViewController& controller);
void setObxDisableAnalyticsAndRecordingOnThisScreen(platform::ViewController& controller, bool value);

MaskView obxMasking(const platform::View& view);
void setObxMasking(platform::View& view, MaskView value);
std::optional<std::string> obxStringTag(const platform::View& view);
void setObxStringTag(platform::View& view, std::optional<std::string> tag);
bool obxFormTrack(const platform::View& view);
void setObxFormTrack(platform::View& view, bool value);

}  // namespace obx
