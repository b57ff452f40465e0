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
// Posted with the control as object when it takes the focus and when it gives it up.
inline constexpr const char* kTextFieldTextDidBeginEditingNotification = "TextFieldTextDidBeginEditingNotification";
inline constexpr const char* kTextFieldTextDidEndEditingNotification = "TextFieldTextDidEndEditingNotification";
inline constexpr const char* kTextViewTextDidBeginEditingNotification = "TextViewTextDidBeginEditingNotification";
inline constexpr const char* kTextViewTextDidEndEditingNotification = "TextViewTextDidEndEditingNotification";

}  // namespace obx::platform
