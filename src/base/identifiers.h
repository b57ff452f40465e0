// Fresh identifiers: UUID strings in the platform's upper-case text form, and the session and lead
// identifiers built from them. Safe from any thread.
#pragma once

#include <string>

namespace obx {

// A random (version 4) UUID as 36 upper-case characters with dashes: "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
std::string makeUUIDString();
// A fresh UUID string followed by two decimal digits, a uniform random number from 10 to 99.
std::string makeUUIDWithTwoDigits();

}  // namespace obx
