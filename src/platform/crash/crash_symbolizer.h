// CrashSymbolizer: names the frames of a crashed process at the next start, from the addresses its
// crash handler wrote and the memory map it left. A frame's module and its offset in the module come
// from the crashed process's map; the symbol comes from that module as this process has loaded it
// (dladdr), so it is found when the module is the same file, the application itself included.
//
// Each frame becomes one line in the form of a stack's symbols:
//   "0   obx-demo                            0x000055d0c3a1b2c3 obxCrashChildSegv + 29"
// with "<module> + <offset>" in place of the symbol when there is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace obx::platform {

class CrashSymbolizer {
 public:
  // The first frame is the faulting instruction itself; the others are return addresses, looked up
  // one byte before so that a call at a function's very end names that function.
  static std::vector<std::string> symbolize(const std::vector<std::uint64_t>& frames, std::string_view maps);
  // The readable form of a name as the C++ ABI writes it; the name itself when it is not one.
  static std::string demangle(const std::string& name);
};

}  // namespace obx::platform
