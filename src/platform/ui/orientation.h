// Orientations of the device and of the interface, with the platform's raw values.
#pragma once

namespace obx::platform {

enum class DeviceOrientation : int {
  unknown = 0,
  portrait = 1,
  portraitUpsideDown = 2,
  landscapeLeft = 3,
  landscapeRight = 4,
  faceUp = 5,
  faceDown = 6,
};

enum class InterfaceOrientation : int {
  unknown = 0,
  portrait = 1,
  portraitUpsideDown = 2,
  landscapeLeft = 4,
  landscapeRight = 3,
};

inline bool isLandscape(InterfaceOrientation orientation) {
  return orientation == InterfaceOrientation::landscapeLeft || orientation == InterfaceOrientation::landscapeRight;
}

// The interface orientation that follows a device orientation; absent-like `unknown` for face up
// or down, where the interface keeps what it had.
inline InterfaceOrientation interfaceOrientationFor(DeviceOrientation orientation) {
  switch (orientation) {
    case DeviceOrientation::portrait: return InterfaceOrientation::portrait;
    case DeviceOrientation::portraitUpsideDown: return InterfaceOrientation::portraitUpsideDown;
    case DeviceOrientation::landscapeLeft: return InterfaceOrientation::landscapeRight;
    case DeviceOrientation::landscapeRight: return InterfaceOrientation::landscapeLeft;
    default: return InterfaceOrientation::unknown;
  }
}

}  // namespace obx::platform
