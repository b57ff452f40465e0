// Date formatting with the platform's pattern letters (yyyy, MM, dd, HH, mm, ss, SSS), in the
// process's local time zone, as the platform's date formatter does by default.
#pragma once

#include <string>
#include <string_view>

#include "platform/dispatch/clock.h"

namespace obx::platform {

// Letters other than the ones above, and everything between single quotes, are copied as they are.
std::string formatDate(Date date, std::string_view pattern);
// Same, in UTC.
std::string formatDateUTC(Date date, std::string_view pattern);

}  // namespace obx::platform
