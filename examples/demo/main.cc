// obx-demo: a host application that starts the SDK and shows its start-up.
#include <cstdio>
#include <filesystem>

#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"

int main() {
  namespace fs = std::filesystem;
  fs::path sandbox = fs::temp_directory_path() / "obx-demo-sandbox";
  obx::platform::setSandboxRoot(sandbox);
  obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");

  obx::Configuration configuration("demo-account", "demo-property", obx::Consent::analyticsAndRecording, true, true,
                                   false, true, true);
  configuration.endpoint = obx::Endpoint::custom("http://127.0.0.1:9", "http://127.0.0.1:9/replay/");
  obx::OBX::initialize(configuration);

  auto scheduler = obx::platform::RealScheduler::shared();
  scheduler->runMainLoop([] { return false; }, 1.0);
  std::printf("obx-demo: SDK %s, spool under %s\n", obx::OBX::sdkVersion().value_or("?").c_str(),
              (sandbox / "Library" / "Application Support" / "obx.ombrix").c_str());
  return 0;
}
