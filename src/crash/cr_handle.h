// CRHandle: the one object whose creation installs the process's crash hooks. Each hook builds a
// Crash record (whole seconds since 1970, the description, the signal, the stack) and hands it to
// the shared CrashCoordinator on the crashing thread. The hooks stay for the life of the process.
#pragma once

#include "store/events/payloads.h"

namespace obx {

class CRHandle {
 public:
  // The process's handle; the first call installs the hooks.
  static CRHandle& shared();

  // What a hook reports: the record handed to the coordinator's delegates.
  static void report(const Crash& crash);

 private:
  CRHandle();
};

}  // namespace obx
