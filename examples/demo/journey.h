// The demo's host application: three screens (a list, a detail, settings) and the scripted journey
// through them: pushes, a pop, a modal, a trip to the background, goals, dimensions, errors, and
// requests to its own server on 127.0.0.1 (an answer, a 404, a download that fails). It ends in the
// background, so that the last screen is closed and every batch can leave.
#pragma once

#include <functional>

namespace demo {

// Runs the journey; `run(seconds)` lets the SDK and the main loop work for that much wall time.
void runJourney(const std::function<void(double seconds)>& run);

}  // namespace demo
