// What the collector stored, read back from its data folder: one folder per session holding a
// folder per screen (events.json and the frames as .jpg) and the session's replay page.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace demo {

struct Summary {
  int sessions = 0;
  int screens = 0;
  int images = 0;
  std::uintmax_t bytesStored = 0;
  std::map<std::string, int> eventsByType;
  std::vector<std::filesystem::path> replayPages;
};

Summary readSummary(const std::filesystem::path& dataDirectory);

// The upload bytes the collector reports in its request lines ("POST /asset/ <status> in <n> B ...").
std::uintmax_t bytesReceived(const std::vector<std::string>& collectorLines);

// The summary as the demo prints it, `bytesSent` being what the SDK posted.
std::string describe(const Summary& summary, std::uintmax_t bytesSent);

}  // namespace demo
