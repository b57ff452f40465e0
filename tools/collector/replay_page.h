// ReplayPage: the HTML page that replays one stored session. Each screen gets a player that shows
// its frames for the durations its "images" event gives, and a timeline of its events (type,
// offset, a short summary). The page is one file with its script and style inline; it loads only
// the frames, by their paths relative to the session folder ("<screen folder>/<index>.jpg").
#pragma once

#include <string>
#include <vector>

#include "store/events/json_coding.h"

namespace obx::collector {

struct ReplayScreen {
  std::string folderName;  // "<nnn>_<cScreenID>"
  std::string cScreenID;
  Json events;             // the body as received: an array of event objects
};

class ReplayPage {
 public:
  // The page of `sessionID` with `screens` in the order given.
  static std::string render(const std::string& sessionID, const std::vector<ReplayScreen>& screens);

  // A one-line description of an event object for the timeline ("tE", {"d":[{"x":3,"y":4}]} gives
  // "1 touch at (3, 4)"); unknown shapes fall back to their compact JSON, cut to 80 characters.
  static std::string summary(const Json& event);
};

}  // namespace obx::collector
