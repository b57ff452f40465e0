// The association keys behind the public view properties (obx/view_properties.h): names with the
// copy policy, flags with the retain policy. Main queue, like every use of the views.
#pragma once

#include <memory>
#include <vector>

#include "obx/view_properties.h"
#include "platform/ui/view.h"
#include "platform/ui/view_controller.h"

namespace obx {

// Association keys. The masking, string-tag and form-tag keys are fixed texts other parts look up.
inline constexpr char kOBXScreenNameKey[] = "OBXScreenNameKey";
inline constexpr char kOBXDisableRecordingKey[] = "OBXDisableRecordingOnThisScreenKey";
inline constexpr char kOBXDisableAnalyticsAndRecordingKey[] = "OBXDisableAnalyticsAndRecordingOnThisScreenKey";
inline constexpr char kOBXMaskingTagKey[] = "OBXMaskingTagKey";
inline constexpr char kOBXStringTagKey[] = "OBXStringTagKey";
inline constexpr char kOBXFormTagKey[] = "OBXFormTagKey";

// Posted through the shared application's notification centre when a view is marked obxFormTrack:
// the form capture only looks for fields while such a view lives.
inline constexpr char kOBXFormTrackDidChangeNotification[] = "OBXFormTrackDidChangeNotification";

// The views marked obxFormTrack that are still alive, in the order they were marked.
std::vector<std::shared_ptr<platform::View>> obxFormTrackedViews();

}  // namespace obx
