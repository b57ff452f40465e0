// The checkout screen: a tracked form with a name field, a card number, a terms switch and a pay
// button. The user fills it in, the first payment fails on the card number, the second succeeds.
#pragma once

#include <functional>

#include "platform/ui/navigation_controller.h"

namespace demo {

// Pushes the checkout screen on `navigation`, fills in the form and pays twice, then pops back;
// `run(seconds)` lets the SDK and the main loop work between two steps. Takes about six seconds.
void fillInCheckout(obx::platform::NavigationController& navigation, const std::function<void(double)>& run);

}  // namespace demo
