// What the collector stored, read back from its data folder: one folder per session holding a
// folder per screen (events.json and the frames as .jpg) and the session's replay page.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace demo {

// One stored upload of a screen. A screen that lasted longer than a batch may arrive in several
// uploads under the same cScreenID; only the first holds the "screen" event.
struct StoredScreen {
  std::string folder;     // "<nnn>_<cScreenID>"
  std::string cScreenID;
  std::string name;       // the "screen" event's name, empty in a later upload of the screen
  int frames = 0;         // entries of the "images" events
  std::vector<std::string> listedFiles;  // "<index>.jpg" of each entry
  std::set<std::string> files;           // the .jpg files that came with this upload
  bool placeholder = false;              // a "placeholder" event says true
};

struct Summary {
  int sessions = 0;
  int screens = 0;
  int images = 0;
  std::uintmax_t bytesStored = 0;
  std::map<std::string, int> eventsByType;
  std::vector<std::filesystem::path> replayPages;
  std::vector<StoredScreen> stored;  // in the collector's order, session by session
};

Summary readSummary(const std::filesystem::path& dataDirectory);

// The upload bytes the collector reports in its request lines ("POST /asset/ <status> in <n> B ...").
std::uintmax_t bytesReceived(const std::vector<std::string>& collectorLines);

// The frames the upload `at` of `summary.stored` lists whose file neither it nor an earlier upload of
// the same screen brought. (A later upload lists again the frame on display when its batch began.)
std::vector<std::string> missingFiles(const Summary& summary, std::size_t at);

// The recorded screens (those with a "screen" event) none of whose uploads holds a frame, and the
// uploads that list a frame whose file never arrived, each told in a line.
std::vector<std::string> screensWithoutFrames(const Summary& summary);

// The summary as the demo prints it, `bytesSent` being what the SDK posted.
std::string describe(const Summary& summary, std::uintmax_t bytesSent);

}  // namespace demo
