#include "collector/session_archive.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

#include "collector/replay_page.h"

namespace obx::collector {
namespace fs = std::filesystem;
namespace {

// Writes through a temporary file and a rename, so a reader (a browser reloading the replay page)
// never sees half a file.
bool writeFile(const fs::path& path, const std::string& bytes, std::string* error) {
  const fs::path temporary = path.string() + ".part";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      if (error) *error = "cannot write " + temporary.string();
      std::error_code ignored;
      fs::remove(temporary, ignored);
      return false;
    }
  }
  std::error_code code;
  fs::rename(temporary, path, code);
  if (code) {
    if (error) *error = "cannot move " + temporary.string() + " to " + path.string() + ": " + code.message();
    fs::remove(temporary, code);
    return false;
  }
  return true;
}

std::optional<std::string> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// The number of a screen folder "<nnn>_<cScreenID>", or nothing for another name.
std::optional<int> screenNumber(const std::string& folderName) {
  auto underscore = folderName.find('_');
  if (underscore == std::string::npos || underscore == 0) return std::nullopt;
  int number = 0;
  for (std::size_t i = 0; i < underscore; ++i) {
    if (folderName[i] < '0' || folderName[i] > '9') return std::nullopt;
    number = number * 10 + (folderName[i] - '0');
    if (number > 1000000) return std::nullopt;
  }
  return number;
}

// The screen folders of a session, in their number order.
std::vector<fs::path> screenFolders(const fs::path& sessionFolder) {
  std::vector<std::pair<int, fs::path>> numbered;
  std::error_code code;
  for (fs::directory_iterator it(sessionFolder, code), end; !code && it != end; it.increment(code)) {
    if (!it->is_directory(code)) continue;
    if (auto number = screenNumber(it->path().filename().string())) numbered.emplace_back(*number, it->path());
  }
  std::sort(numbered.begin(), numbered.end());
  std::vector<fs::path> folders;
  for (auto& [number, path] : numbered) folders.push_back(std::move(path));
  return folders;
}

// A stored screen as the replay page shows it; a damaged events.json shows as a screen without events.
ReplayScreen replayScreenOf(const fs::path& folder) {
  ReplayScreen screen;
  screen.folderName = folder.filename().string();
  screen.cScreenID = screen.folderName.substr(screen.folderName.find('_') + 1);
  screen.events = Json::array();
  std::error_code code;
  for (fs::directory_iterator it(folder, code), end; !code && it != end; it.increment(code)) {
    const fs::path name = it->path().filename();
    if (name.extension() != ".jpg") continue;
    const std::string stem = name.stem().string();
    std::int64_t index = 0;
    auto [last, error] = std::from_chars(stem.data(), stem.data() + stem.size(), index);
    if (error == std::errc() && last == stem.data() + stem.size()) screen.imageFiles.insert(index);
  }
  if (auto events = readFile(folder / "events.json")) {
    try {
      screen.events = parseJSON(*events);
    } catch (const DecodingError&) {
    }
  }
  return screen;
}

}  // namespace

SessionArchive::SessionArchive(fs::path root) : root_(std::move(root)) {}

SessionArchive::SessionState& SessionArchive::stateOf(const std::string& sessionID) {
  auto found = sessions_.find(sessionID);
  if (found != sessions_.end()) return found->second;
  // A session met for the first time in this run may have screens from an earlier run: they are read
  // once here, and later uploads only add to what is kept.
  SessionState state;
  for (const fs::path& folder : screenFolders(root_ / sessionID)) {
    state.lastNumber = std::max(state.lastNumber, *screenNumber(folder.filename().string()));
    if (auto meta = readFile(folder / "upload.json")) {
      try {
        Json json = parseJSON(*meta);
        if (json.is_object() && json.contains("asset") && json["asset"].is_string()) {
          state.assets.emplace(json["asset"].get<std::string>(), folder);
        }
      } catch (const DecodingError&) {
        // A damaged note only costs the duplicate check of that one screen.
      } catch (const nlohmann::json::exception&) {
      }
    }
  }
  return sessions_.emplace(sessionID, std::move(state)).first->second;
}

std::optional<SessionArchive::Stored> SessionArchive::store(const UploadQuery& query, const DecodedUpload& upload,
                                                            std::string* error) {
  std::lock_guard lock(mutex_);
  SessionState& state = stateOf(query.sessionID);
  if (auto known = state.assets.find(query.asset); known != state.assets.end()) {
    return Stored{known->second, true, {}};
  }

  char prefix[16];
  std::snprintf(prefix, sizeof prefix, "%03d_", state.lastNumber + 1);
  const fs::path folder = root_ / query.sessionID / (prefix + query.cScreenID);
  std::error_code code;
  fs::create_directories(folder, code);
  if (code) {
    if (error) *error = "cannot create " + folder.string() + ": " + code.message();
    return std::nullopt;
  }

  Json meta = Json::object();
  meta["asset"] = query.asset;
  meta["property"] = query.property;
  meta["account"] = upload.account;
  meta["cScreenID"] = query.cScreenID;
  meta["sessionID"] = query.sessionID;
  meta["rawSessionID"] = upload.rawSessionID;
  meta["leadID"] = query.leadID;
  meta["passed"] = query.passed;
  if (query.dnt) meta["dnt"] = *query.dnt;
  if (query.jspsf) meta["jspsf"] = *query.jspsf;
  meta["images"] = Json::array();
  for (const auto& [index, bytes] : upload.images) meta["images"].push_back(index);

  bool written = writeFile(folder / "events.json", upload.body.dump(2) + "\n", error);
  for (auto it = upload.images.begin(); written && it != upload.images.end(); ++it) {
    written = writeFile(folder / (std::to_string(it->first) + ".jpg"), it->second, error);
  }
  // The note goes last: a folder without it was never completely stored.
  written = written && writeFile(folder / "upload.json", meta.dump(2) + "\n", error);
  if (!written) {
    fs::remove_all(folder, code);
    return std::nullopt;
  }

  ++state.lastNumber;
  state.assets.emplace(query.asset, folder);
  Stored stored{folder, false, {}};
  state.pageStale = true;
  if (state.lastNumber <= kScreensAlwaysPaged ||
      std::chrono::steady_clock::now() - state.pageWritten >= std::chrono::duration<double>(kPageInterval)) {
    if (auto pageError = writePage(query.sessionID, state)) stored.warning = "replay page not written: " + *pageError;
  }
  return stored;
}

std::optional<std::string> SessionArchive::writePage(const std::string& sessionID, SessionState& state) {
  std::vector<ReplayScreen> screens;
  for (const fs::path& folder : screenFolders(root_ / sessionID)) screens.push_back(replayScreenOf(folder));
  std::string error;
  state.pageWritten = std::chrono::steady_clock::now();
  if (!writeFile(root_ / sessionID / "index.html", ReplayPage::render(sessionID, screens), &error)) return error;
  state.pageStale = false;
  return std::nullopt;
}

std::vector<std::string> SessionArchive::writePages(const std::string& sessionID) {
  std::lock_guard lock(mutex_);
  std::vector<std::string> failures;
  for (auto& [id, state] : sessions_) {
    if (!state.pageStale || (!sessionID.empty() && id != sessionID)) continue;
    if (auto error = writePage(id, state)) failures.push_back("replay page of " + id + " not written: " + *error);
  }
  return failures;
}

}  // namespace obx::collector
