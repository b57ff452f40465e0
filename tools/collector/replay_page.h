// ReplayPage: the HTML page that replays one stored session. One stage shows the frame on display
// at the playing time, with the touches of that moment drawn as dots over it, beside the timeline of
// the screen's events; "Play the session" runs the screens one after another in their order, and
// each screen can be played, paused and scrubbed on its own. The page is one file with its script
// and style inline; it loads only the frames, by their paths relative to the session folder
// ("<screen folder>/<index>.jpg").
//
// The address picks a start: "index.html#play" plays the session at once, "index.html#s=1&t=2500"
// shows the second screen 2.5 s in, paused. Every frame and touch shown while playing is noted in
// the page's playback log.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "store/events/json_coding.h"

namespace obx::collector {

struct ReplayScreen {
  std::string folderName;  // "<nnn>_<cScreenID>"
  std::string cScreenID;
  Json events;             // the body as received: an array of event objects
  // The indexes whose "<index>.jpg" this upload brought. A later upload of a screen lists again the
  // frame on display when its batch began, whose file came with an earlier upload.
  std::set<std::int64_t> imageFiles;
};

class ReplayPage {
 public:
  // The page of `sessionID` with `screens` in the order given. A frame whose file is not in its own
  // upload is taken from the latest earlier upload of the same screen that has it.
  static std::string render(const std::string& sessionID, const std::vector<ReplayScreen>& screens);

  // What the page's script plays for one screen, in milliseconds from the screen's start:
  //   "frames":  [{"src", "name", "index", "start", "ms"}] in the order of the "images" events;
  //   "touches": [{"o", "t", "x", "y", "frame"}], one per touch record, "frame" being the position in
  //              "frames" of the frame on display at "o" (-1 without frames);
  //   "width", "height": the screen in points, the space of the touch coordinates (the "ss" of the
  //              "aM" event, else the first frame's size, else 0); "duration"; "name"; "folder".
  // The body carries only durations, so the frames are placed to end at the "images" event's offset
  // (the screen's last batch end) when that leaves room for them, and to start at 0 otherwise.
  static Json screenModel(const ReplayScreen& screen);

  // A one-line description of an event object for the timeline ("tE", {"d":[{"x":3,"y":4}]} gives
  // "1 touch at (3, 4)"); unknown shapes fall back to their compact JSON, cut to 80 characters.
  static std::string summary(const Json& event);
};

}  // namespace obx::collector
