#include "crash/cr_handle.h"

#include <cstdint>

#include "platform/crash/crash_handlers.h"
#include "platform/dispatch/clock.h"
#include "session/crash_coordinator.h"

namespace obx {
namespace {

void reportFromHook(const platform::CrashReport& report) {
  Crash crash;
  crash.time = static_cast<std::int64_t>(platform::SystemClock().now());
  crash.desc = report.description;
  crash.signal = report.signal;
  crash.symbols = report.symbols;
  CRHandle::report(crash);
}

}  // namespace

CRHandle& CRHandle::shared() {
  // Never destroyed: the hooks may run while static objects are torn down.
  static auto* handle = new CRHandle();
  return *handle;
}

CRHandle::CRHandle() { platform::CrashHandlers::install(reportFromHook); }

void CRHandle::report(const Crash& crash) { CrashCoordinator::shared().crashed(crash); }

}  // namespace obx
