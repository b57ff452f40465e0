// obx-demo: a host application with three screens (a list, a detail, settings) that runs a scripted
// journey with the SDK: pushes, pops, a modal, a trip to the background, goals, dimensions, errors.
// It prints where the SDK's spool lies; `obx-inspect <that path>` shows the events.
#include <cstdio>
#include <filesystem>

#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"

namespace demo {

class ListScreen : public obx::platform::ViewController {};
class DetailScreen : public obx::platform::ViewController {};
class SettingsScreen : public obx::platform::ViewController {};

// Lets the SDK's queues and the main loop run for `seconds` of wall time.
void run(double seconds) {
  obx::platform::RealScheduler::shared()->runMainLoop([] { return false; }, seconds);
}

}  // namespace demo

int main() {
  namespace fs = std::filesystem;
  using obx::OBX;
  fs::path sandbox = fs::temp_directory_path() / "obx-demo-sandbox";
  fs::remove_all(sandbox);
  obx::platform::setSandboxRoot(sandbox);
  obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");

  obx::Configuration configuration("demo-account", "demo-property", obx::Consent::analyticsAndRecording, true, true,
                                   false, true, true);
  configuration.endpoint = obx::Endpoint::custom("http://127.0.0.1:9", "http://127.0.0.1:9/replay/");
  OBX::send("opened before start");
  OBX::initialize(configuration);

  auto application = obx::platform::Application::shared();
  auto list = std::make_shared<demo::ListScreen>();
  auto navigation = obx::platform::NavigationController::make(list);
  auto window = std::make_shared<obx::platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  demo::run(6.0);  // longer than one batch: the list screen gets a second batch

  navigation->pushViewController(std::make_shared<demo::DetailScreen>(), true);
  demo::run(1.0);
  OBX::send("viewed detail", 4.5f);
  OBX::send("plan", std::string("premium"));
  OBX::send("returning", true);
  OBX::sendHTTPError(503);
  demo::run(2.0);
  navigation->popViewController(true);
  demo::run(1.0);

  navigation->present(std::make_shared<demo::SettingsScreen>(), true);
  demo::run(1.0);
  OBX::sendError("settings could not load");
  application->resignActive();
  application->enterBackground();
  demo::run(1.5);
  application->becomeActive();
  demo::run(2.0);
  navigation->dismiss(true);
  demo::run(3.0);

  fs::path spool = sandbox / "Library" / "Application Support" / "obx.ombrix";
  int batches = 0;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(spool, error)) {
    if (entry.is_directory() && entry.path().filename().string().find('_') != std::string::npos) ++batches;
  }
  std::printf("obx-demo: SDK %s, session %s\n", OBX::sdkVersion().value_or("?").c_str(),
              OBX::sessionId().value_or("-").c_str());
  std::printf("obx-demo: %d batch folders in the spool under %s\n", batches, spool.c_str());
  std::printf("obx-demo: read them with: obx-inspect '%s'\n", spool.c_str());
  return batches > 0 ? 0 : 1;
}
