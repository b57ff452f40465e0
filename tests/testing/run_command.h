// Runs a shell command and gives what it wrote to its standard output, for tests that check the
// SDK's bytes with independent command-line tools.
#pragma once

#include <cstdio>
#include <string>

namespace obx::testing {

inline std::string runCommand(const std::string& command) {
  std::string output;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, read);
    ::pclose(pipe);
  }
  return output;
}

}  // namespace obx::testing
