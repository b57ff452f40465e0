// Names of the notifications the toolkit posts.
#pragma once

namespace obx::platform {

inline constexpr const char* kApplicationDidBecomeActiveNotification = "ApplicationDidBecomeActiveNotification";
inline constexpr const char* kApplicationWillResignActiveNotification = "ApplicationWillResignActiveNotification";
inline constexpr const char* kApplicationDidEnterBackgroundNotification = "ApplicationDidEnterBackgroundNotification";
inline constexpr const char* kApplicationWillEnterForegroundNotification =
    "ApplicationWillEnterForegroundNotification";
inline constexpr const char* kDeviceOrientationDidChangeNotification = "DeviceOrientationDidChangeNotification";
// Posted by text fields and text views with themselves as object, on each edit by the user.
inline constexpr const char* kTextFieldTextDidChangeNotification = "TextFieldTextDidChangeNotification";
inline constexpr const char* kTextViewTextDidChangeNotification = "TextViewTextDidChangeNotification";

}  // namespace obx::platform
