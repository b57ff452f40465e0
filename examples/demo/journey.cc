#include "journey.h"

#include <memory>
#include <string>

#include "obx/facade.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"

namespace demo {

class ListScreen : public obx::platform::ViewController {};
class DetailScreen : public obx::platform::ViewController {};
class SettingsScreen : public obx::platform::ViewController {};

void runJourney(const std::function<void(double seconds)>& run) {
  using obx::OBX;
  auto application = obx::platform::Application::shared();
  auto list = std::make_shared<ListScreen>();
  auto navigation = obx::platform::NavigationController::make(list);
  auto window = std::make_shared<obx::platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  run(6.0);  // longer than one batch: the list screen gets a second batch

  navigation->pushViewController(std::make_shared<DetailScreen>(), true);
  run(1.0);
  OBX::sendGoal("viewed detail", 4.5f);
  OBX::sendDimension("plan", std::string("premium"));
  OBX::sendDimension("returning", true);
  OBX::sendHTTPError(503);
  run(2.0);
  navigation->popViewController(true);
  run(1.0);

  navigation->present(std::make_shared<SettingsScreen>(), true);
  run(1.0);
  OBX::sendError("settings could not load");
  application->resignActive();
  application->enterBackground();
  run(1.5);
  application->becomeActive();
  run(2.0);
  navigation->dismiss(true);
  run(3.0);

  // The journey ends with the application in the background: its screen closes.
  application->resignActive();
  application->enterBackground();
}

}  // namespace demo
