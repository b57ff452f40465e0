// Fills the platform's format strings: each "%@" takes the next text argument and each "%d" the
// next one as it stands (already decimal). "%%" is a percent sign. Missing arguments leave nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace obx {

std::string formatWithArguments(std::string_view format, const std::vector<std::string>& arguments);

}  // namespace obx
