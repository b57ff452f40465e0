// The list screen's rows and the user's fingers on them: a tap on a row, a slow drag up the list and
// a fling that lets it glide, each delivered as the system delivers touches.
#pragma once

#include <functional>
#include <memory>

#include "platform/ui/scroll_view.h"

namespace demo {

// Fills `view` with a scrolling list of rows as large as the screen. Called before the screen
// shows, so that the SDK finds the list as the screen's main scroll view.
std::shared_ptr<obx::platform::ScrollView> addList(obx::platform::View& view);

// Taps a row, drags the list up by a few rows, then flings it; `run(seconds)` lets the SDK and the
// main loop work between two steps. Takes about three seconds.
void touchTheList(const std::shared_ptr<obx::platform::ScrollView>& list, const std::function<void(double)>& run);

}  // namespace demo
