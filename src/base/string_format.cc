#include "base/string_format.h"

namespace obx {

std::string formatWithArguments(std::string_view format, const std::vector<std::string>& arguments) {
  std::string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && i + 1 < format.size()) {
      char kind = format[i + 1];
      if (kind == '@' || kind == 'd') {
        if (next < arguments.size()) out += arguments[next];
        ++next;
        ++i;
        continue;
      }
      if (kind == '%') {
        out += '%';
        ++i;
        continue;
      }
    }
    out += format[i];
  }
  return out;
}

}  // namespace obx
