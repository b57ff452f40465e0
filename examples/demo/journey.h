// The demo's host application: its screens (a list, a detail, a sign-in form recorded as a screenshot
// with its text fields painted over, a payment screen that the live configuration masks whole, a still
// "about" page, settings) and the scripted journey through them: pushes, pops, a modal, a trip to the
// background, goals, dimensions, errors, and requests to its own server on 127.0.0.1 (an answer, a 404,
// a download that fails). It ends in the background, so that the last screen is closed and every batch
// can leave.
#pragma once

#include <functional>

namespace demo {

// The screen that the demo's live configuration lists in screensMasking.
inline constexpr const char* kMaskedScreenName = "demo.PaymentScreen";
// The screen that the demo's live configuration lists in forceHiFi: replay draws the window itself and
// paints its text fields over.
inline constexpr const char* kHiFiScreenName = "demo.SignInScreen";

// Runs the journey; `run(seconds)` lets the SDK and the main loop work for that much wall time.
void runJourney(const std::function<void(double seconds)>& run);

}  // namespace demo
