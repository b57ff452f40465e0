// The scripted journey of a shopper through ShopWindow, driven with QTest's mouse and key events on the
// real widgets, with pauses between steps as a person takes them. It never calls into the SDK.
#pragma once

#include "shop_window.h"

namespace shop {

// The password and card number the shopper types: neither may be readable in a recorded frame.
inline constexpr const char* kPassword = "Tr0ub4dor&3";
inline constexpr const char* kCardNumber = "4111 1111 1111 1111";

void runJourney(ShopWindow& window);

}  // namespace shop
