#include "platform/text/date_format.h"

#include <cmath>
#include <cstdio>
#include <ctime>

namespace obx::platform {
namespace {

std::string format(Date date, std::string_view pattern, bool utc) {
  double whole = std::floor(date);
  auto seconds = static_cast<std::time_t>(whole);
  int millis = static_cast<int>((date - whole) * 1000.0);
  std::tm parts{};
  if (utc) {
    gmtime_r(&seconds, &parts);
  } else {
    localtime_r(&seconds, &parts);
  }
  std::string out;
  char buffer[16];
  std::size_t i = 0;
  while (i < pattern.size()) {
    char letter = pattern[i];
    if (letter == '\'') {
      std::size_t end = pattern.find('\'', i + 1);
      if (end == std::string_view::npos) end = pattern.size();
      out.append(pattern.substr(i + 1, end - i - 1));
      i = end + 1;
      continue;
    }
    std::size_t run = 1;
    while (i + run < pattern.size() && pattern[i + run] == letter) ++run;
    int value = -1;
    int width = static_cast<int>(run);
    switch (letter) {
      case 'y': value = parts.tm_year + 1900; width = run == 2 ? 2 : static_cast<int>(run); if (run == 2) value %= 100; break;
      case 'M': value = parts.tm_mon + 1; break;
      case 'd': value = parts.tm_mday; break;
      case 'H': value = parts.tm_hour; break;
      case 'm': value = parts.tm_min; break;
      case 's': value = parts.tm_sec; break;
      case 'S': value = millis; width = 3; break;
      default: break;
    }
    if (value < 0) {
      out.append(pattern.substr(i, run));
    } else {
      std::snprintf(buffer, sizeof buffer, "%0*d", width, value);
      out.append(buffer);
    }
    i += run;
  }
  return out;
}

}  // namespace

std::string formatDate(Date date, std::string_view pattern) { return format(date, pattern, false); }
std::string formatDateUTC(Date date, std::string_view pattern) { return format(date, pattern, true); }

}  // namespace obx::platform
