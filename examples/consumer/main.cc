// Builds and links against the installed SDK and reports its version.
#include <cstdio>

#include "obx/facade.h"

int main() {
  std::printf("obx %s\n", obx::OBX::sdkVersion().value_or("?").c_str());
  return obx::OBX::sdkVersion() ? 0 : 1;
}
