// SessionArchive: the collector's disk. Each accepted screen goes to
// `<root>/<sessionID>/<nnn>_<cScreenID>/` as "events.json" (the body, pretty-printed), one
// "<index>.jpg" per image and "upload.json" (what the request said: asset, IDs, flags). Screens of a
// session are numbered 001, 002, ... in the order they arrive; after each one the session's
// "index.html" replay page is written again from what lies on disk.
//
// An asset is stored once per session: a second upload of the same asset name is reported as a
// duplicate and leaves the disk as it was. Numbers and known assets are read back from disk the
// first time a session is met, so a restarted collector continues where it stopped.
//
// Thread-safe: one mutex serialises the stores.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collector/replay_page.h"
#include "collector/upload_decoder.h"

namespace obx::collector {

class SessionArchive {
 public:
  explicit SessionArchive(std::filesystem::path root);

  struct Stored {
    std::filesystem::path folder;  // the screen's folder (the earlier one for a duplicate)
    bool duplicate = false;
    std::string warning;  // set when the screen was stored but the replay page was not written
  };

  // Seconds between two makings of a session's page while its screens arrive.
  static constexpr double kPageInterval = 1.0;
  static constexpr int kScreensAlwaysPaged = 50;

  // Writes the screen, or reports a duplicate. Nothing with `error` set when the disk refuses.
  std::optional<Stored> store(const UploadQuery& query, const DecodedUpload& upload, std::string* error);
  // Makes the stale replay pages: of `sessionID` only, or of every session when it is empty.
  // Returns the failures, one line each.
  std::vector<std::string> writePages(const std::string& sessionID = {});

 private:
  struct SessionState {
    int lastNumber = 0;
    std::map<std::string, std::filesystem::path> assets;  // asset name -> screen folder
    bool pageStale = false;
    std::chrono::steady_clock::time_point pageWritten{};
  };
  SessionState& stateOf(const std::string& sessionID);
  // Makes the page of `sessionID` from its screen folders; the error text on failure.
  std::optional<std::string> writePage(const std::string& sessionID, SessionState& state);

  std::filesystem::path root_;
  std::mutex mutex_;
  std::map<std::string, SessionState> sessions_;
};

}  // namespace obx::collector
