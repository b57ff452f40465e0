// HTTPHeaders: header fields keyed without regard to case, as HTTP compares field names.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace obx::platform {

// Bytes in transit: bodies, response data, archive entries.
using Data = std::vector<std::uint8_t>;

struct CaseInsensitiveLess {
  bool operator()(const std::string& a, const std::string& b) const {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
      return std::tolower(x) < std::tolower(y);
    });
  }
};

using HTTPHeaders = std::map<std::string, std::string, CaseInsensitiveLess>;

}  // namespace obx::platform
