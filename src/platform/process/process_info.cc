#include "platform/process/process_info.h"

#include <dirent.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace obx::platform {
namespace {

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

double secondsSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string trimmed(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

}  // namespace

std::shared_ptr<ProcessInfo> ProcessInfo::processInfo() {
  static const auto instance = std::make_shared<ProcessInfo>();
  return instance;
}

std::optional<ProcessInfo::ThreadTimes> ProcessInfo::parseThreadStat(const std::string& text, long ticksPerSecond) {
  // The command name may hold spaces and parentheses: the fields start after the last ')'.
  auto close = text.rfind(')');
  if (close == std::string::npos || ticksPerSecond <= 0) return std::nullopt;
  std::istringstream fields(text.substr(close + 1));
  std::vector<std::string> values;
  std::string value;
  while (fields >> value) values.push_back(value);
  // values[0] is field 3 (state); utime is field 14, stime 15, starttime 22.
  if (values.size() < 20) return std::nullopt;
  char* end = nullptr;
  const double utime = std::strtod(values[11].c_str(), &end);
  if (*end != '\0') return std::nullopt;
  const double stime = std::strtod(values[12].c_str(), &end);
  if (*end != '\0') return std::nullopt;
  const double start = std::strtod(values[19].c_str(), &end);
  if (*end != '\0') return std::nullopt;
  const double ticks = static_cast<double>(ticksPerSecond);
  return ThreadTimes{(utime + stime) / ticks, start / ticks};
}

std::optional<double> ProcessInfo::cpuUsage() {
  const long ticks = sysconf(_SC_CLK_TCK);
  DIR* directory = opendir("/proc/self/task");
  if (directory == nullptr) return std::nullopt;
  std::vector<long> threads;
  while (dirent* entry = readdir(directory)) {
    char* end = nullptr;
    long tid = std::strtol(entry->d_name, &end, 10);
    if (end != entry->d_name && *end == '\0') threads.push_back(tid);
  }
  closedir(directory);

  std::lock_guard lock(mutex_);
  std::map<long, Sample> current;
  double sum = 0;
  for (long tid : threads) {
    auto text = readFile("/proc/self/task/" + std::to_string(tid) + "/stat");
    if (!text) continue;  // the thread ended since the listing
    auto times = parseThreadStat(*text, ticks);
    if (!times) continue;
    const double now = secondsSinceBoot();
    current[tid] = Sample{times->cpuSeconds, now};
    double cpu = times->cpuSeconds;
    double since = times->startSeconds;
    if (auto found = previous_.find(tid); found != previous_.end()) {
      cpu -= found->second.cpuSeconds;
      since = found->second.at;
    }
    const double elapsed = now - since;
    if (elapsed > 0 && cpu > 0) sum += cpu / elapsed;
  }
  previous_ = std::move(current);
  return sum;
}

std::optional<double> ProcessInfo::memoryFootprintMiB() {
  auto text = readFile("/proc/self/status");
  if (!text) return std::nullopt;
  std::istringstream lines(*text);
  std::string line;
  double kib = 0;
  bool found = false;
  while (std::getline(lines, line)) {
    for (const char* key : {"VmRSS:", "VmSwap:"}) {
      if (line.rfind(key, 0) == 0) {
        kib += std::strtod(line.c_str() + std::string(key).size(), nullptr);
        found = true;
      }
    }
  }
  if (!found) return std::nullopt;
  return kib / 1024.0;
}

int ProcessInfo::processorCount() const {
  long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? static_cast<int>(count) : 1;
}

std::uint64_t ProcessInfo::physicalMemory() const {
  long pages = sysconf(_SC_PHYS_PAGES);
  long size = sysconf(_SC_PAGE_SIZE);
  if (pages <= 0 || size <= 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size);
}

double ProcessInfo::readBatteryLevel(const std::string& root) {
  DIR* directory = opendir(root.c_str());
  if (directory == nullptr) return kUnknownBatteryLevel;
  std::vector<std::string> supplies;
  while (dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') supplies.emplace_back(entry->d_name);
  }
  closedir(directory);
  std::sort(supplies.begin(), supplies.end());
  for (const auto& supply : supplies) {
    auto type = readFile(root + "/" + supply + "/type");
    if (!type || trimmed(*type) != "Battery") continue;
    auto capacity = readFile(root + "/" + supply + "/capacity");
    if (!capacity) continue;
    char* end = nullptr;
    std::string text = trimmed(*capacity);
    double percent = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || percent < 0) continue;
    return std::min(percent, 100.0) / 100.0;
  }
  return kUnknownBatteryLevel;
}

}  // namespace obx::platform
