#include "summary.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

namespace demo {

namespace fs = std::filesystem;

namespace {

// Counts the events of a stored screen by type and notes its frames, checking each one's file.
void readScreen(const fs::path& folder, Summary& summary) {
  StoredScreen screen;
  screen.folder = folder.filename().string();
  screen.cScreenID = screen.folder.substr(screen.folder.find('_') + 1);
  std::ifstream in(folder / "events.json");
  auto events = nlohmann::json::parse(in, nullptr, false);
  if (events.is_array()) {
    for (const auto& event : events) {
      if (!event.is_object() || !event.contains("t") || !event["t"].is_string()) continue;
      const std::string type = event["t"].get<std::string>();
      ++summary.eventsByType[type];
      const auto data = event.value("d", nlohmann::json());
      if (type == "screen" && data.is_object() && data.value("sN", nlohmann::json()).is_string()) {
        screen.name = data["sN"].get<std::string>();
      } else if (type == "placeholder" && data.is_boolean() && data.get<bool>()) {
        screen.placeholder = true;
      } else if (type == "images" && data.is_array()) {
        for (const auto& image : data) {
          ++screen.frames;
          const auto index = image.is_object() ? image.value("sIndex", nlohmann::json()) : nlohmann::json();
          screen.listedFiles.push_back((index.is_number_integer() ? std::to_string(index.get<std::int64_t>()) : "?") +
                                       ".jpg");
        }
      }
    }
  }
  std::error_code error;
  for (const auto& file : fs::directory_iterator(folder, error)) {
    if (file.path().extension() == ".jpg") screen.files.insert(file.path().filename().string());
  }
  summary.stored.push_back(std::move(screen));
}

}  // namespace

Summary readSummary(const fs::path& dataDirectory) {
  Summary summary;
  std::error_code error;
  for (const auto& session : fs::directory_iterator(dataDirectory, error)) {
    if (!session.is_directory()) continue;
    ++summary.sessions;
    if (fs::exists(session.path() / "index.html")) summary.replayPages.push_back(session.path() / "index.html");
    std::vector<fs::path> folders;
    for (const auto& screen : fs::directory_iterator(session.path(), error)) {
      if (screen.is_directory() && fs::exists(screen.path() / "events.json")) folders.push_back(screen.path());
    }
    // Folders are numbered in their order of arrival.
    std::sort(folders.begin(), folders.end());
    for (const auto& folder : folders) {
      ++summary.screens;
      readScreen(folder, summary);
      for (const auto& file : fs::directory_iterator(folder, error)) {
        if (!file.is_regular_file()) continue;
        summary.bytesStored += file.file_size();
        if (file.path().extension() == ".jpg") ++summary.images;
      }
    }
  }
  return summary;
}

std::uintmax_t bytesReceived(const std::vector<std::string>& collectorLines) {
  static const std::string kUpload = "POST /asset/ ";
  static const std::string kIn = " in ";
  std::uintmax_t total = 0;
  for (const auto& line : collectorLines) {
    if (line.rfind(kUpload, 0) != 0) continue;
    auto at = line.find(kIn);
    if (at == std::string::npos) continue;
    total += std::strtoull(line.c_str() + at + kIn.size(), nullptr, 10);
  }
  return total;
}

std::vector<std::string> missingFiles(const Summary& summary, std::size_t at) {
  const StoredScreen& screen = summary.stored[at];
  std::vector<std::string> missing;
  for (const auto& file : screen.listedFiles) {
    bool found = screen.files.count(file) > 0;
    for (std::size_t earlier = 0; !found && earlier < at; ++earlier) {
      found = summary.stored[earlier].cScreenID == screen.cScreenID && summary.stored[earlier].files.count(file);
    }
    if (!found) missing.push_back(file);
  }
  return missing;
}

std::vector<std::string> screensWithoutFrames(const Summary& summary) {
  std::map<std::string, const StoredScreen*> named;  // cScreenID -> the upload with the "screen" event
  std::map<std::string, int> frames;
  std::vector<std::string> faults;
  for (std::size_t at = 0; at < summary.stored.size(); ++at) {
    const StoredScreen& screen = summary.stored[at];
    if (!screen.name.empty()) named.emplace(screen.cScreenID, &screen);
    frames[screen.cScreenID] += screen.frames;
    for (const auto& file : missingFiles(summary, at)) {
      faults.push_back(screen.folder + " lists " + file + ", which no upload of its screen brought");
    }
  }
  for (const auto& [id, screen] : named) {
    if (frames[id] == 0) faults.push_back(screen->name + " (" + screen->folder + ") has no frames");
  }
  return faults;
}

std::string describe(const Summary& summary, std::uintmax_t bytesSent) {
  std::ostringstream out;
  out << "sessions: " << summary.sessions << "\n";
  out << "screens:  " << summary.screens << "\n";
  out << "images:   " << summary.images << " (JPEG files stored)\n";
  std::map<std::string, std::string> names;
  for (const auto& screen : summary.stored) {
    if (!screen.name.empty()) names.emplace(screen.cScreenID, screen.name);
  }
  for (std::size_t at = 0; at < summary.stored.size(); ++at) {
    const StoredScreen& screen = summary.stored[at];
    const auto name = names.find(screen.cScreenID);
    out << "  " << screen.folder.substr(0, screen.folder.find('_')) << " "
        << (!screen.name.empty()         ? screen.name
            : name != names.end() ? name->second + ", continued"
                                  : "(no screen event)")
        << ": " << screen.frames
        << (screen.frames == 1 ? " frame" : " frames") << (screen.placeholder ? ", a placeholder" : "");
    const auto missing = missingFiles(summary, at);
    if (!missing.empty()) out << ", " << missing.size() << " without their file";
    out << "\n";
  }
  out << "bytes sent: " << bytesSent << " (stored by the collector: " << summary.bytesStored << ")\n";
  out << "events by type:\n";
  for (const auto& [type, count] : summary.eventsByType) out << "  " << type << ": " << count << "\n";
  for (const auto& page : summary.replayPages) out << "replay page: " << page.string() << "\n";
  return out.str();
}

}  // namespace demo
