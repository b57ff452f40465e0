#include "summary.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

namespace demo {

namespace fs = std::filesystem;

namespace {

void countEvents(const fs::path& file, Summary& summary) {
  std::ifstream in(file);
  auto events = nlohmann::json::parse(in, nullptr, false);
  if (!events.is_array()) return;
  for (const auto& event : events) {
    if (event.is_object() && event.contains("t") && event["t"].is_string()) {
      ++summary.eventsByType[event["t"].get<std::string>()];
    }
  }
}

}  // namespace

Summary readSummary(const fs::path& dataDirectory) {
  Summary summary;
  std::error_code error;
  for (const auto& session : fs::directory_iterator(dataDirectory, error)) {
    if (!session.is_directory()) continue;
    ++summary.sessions;
    if (fs::exists(session.path() / "index.html")) summary.replayPages.push_back(session.path() / "index.html");
    for (const auto& screen : fs::directory_iterator(session.path(), error)) {
      if (!screen.is_directory() || !fs::exists(screen.path() / "events.json")) continue;
      ++summary.screens;
      countEvents(screen.path() / "events.json", summary);
      for (const auto& file : fs::directory_iterator(screen.path(), error)) {
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

std::string describe(const Summary& summary, std::uintmax_t bytesSent) {
  std::ostringstream out;
  out << "sessions: " << summary.sessions << "\n";
  out << "screens:  " << summary.screens << "\n";
  out << "images:   " << summary.images << "\n";
  out << "bytes sent: " << bytesSent << " (stored by the collector: " << summary.bytesStored << ")\n";
  out << "events by type:\n";
  for (const auto& [type, count] : summary.eventsByType) out << "  " << type << ": " << count << "\n";
  for (const auto& page : summary.replayPages) out << "replay page: " << page.string() << "\n";
  return out.str();
}

}  // namespace demo
