/* Builds and links against the installed SDK through its C API and reports its version. */
#include <stdio.h>

#include "obx/obx.h"

int main(void) {
  char* version = obx_sdk_version();
  printf("obx %s\n", version ? version : "?");
  int status = version ? 0 : 1;
  obx_string_free(version);
  return status;
}
