#include "journey.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "checkout.h"
#include "demo_server.h"
#include "gestures.h"
#include "obx/facade.h"
#include "platform/net/url_session.h"
#include "platform/ui/application.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"

namespace demo {

class ListScreen : public obx::platform::ViewController {};
class DetailScreen : public obx::platform::ViewController {};
class SettingsScreen : public obx::platform::ViewController {};

namespace {

// The journey's requests to its own server, each reported in one line when its handler runs.
void fetch(const std::shared_ptr<obx::platform::URLSession>& session, const std::string& url) {
  auto parsed = obx::platform::URL::fromString(url);
  if (!parsed) return;
  session
      ->dataTaskWithURL(*parsed,
                        [url](std::optional<obx::platform::Data> data,
                              std::shared_ptr<const obx::platform::URLResponse> response,
                              std::optional<obx::platform::URLError> error) {
                          const auto* http = obx::platform::asHTTPURLResponse(response);
                          std::printf("obx-demo: GET %s: %d, %zu bytes%s\n", url.c_str(),
                                      http ? http->statusCode() : 0, data ? data->size() : 0,
                                      error ? (", " + error->localizedDescription()).c_str() : "");
                        })
      ->resume();
}

void download(const std::shared_ptr<obx::platform::URLSession>& session, const std::string& url) {
  auto parsed = obx::platform::URL::fromString(url);
  if (!parsed) return;
  session
      ->downloadTaskWithURL(*parsed,
                            [url](std::optional<std::string> location, std::shared_ptr<const obx::platform::URLResponse>,
                                  std::optional<obx::platform::URLError> error) {
                              std::printf("obx-demo: download %s: %s\n", url.c_str(),
                                          location ? "saved"
                                          : error  ? error->localizedDescription().c_str()
                                                   : "nothing");
                            })
      ->resume();
}

}  // namespace

void runJourney(const std::function<void(double seconds)>& run) {
  using obx::OBX;
  DemoServer server;
  auto session = obx::platform::URLSession::shared();
  auto application = obx::platform::Application::shared();
  auto list = std::make_shared<ListScreen>();
  auto rows = addList(*list->view());
  auto navigation = obx::platform::NavigationController::make(list);
  auto window = std::make_shared<obx::platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  run(1.0);
  touchTheList(rows, run);
  run(3.0);  // longer than one batch in all: the list screen gets a second batch

  navigation->pushViewController(std::make_shared<DetailScreen>(), true);
  run(1.0);
  OBX::sendGoal("viewed detail", 4.5f);
  OBX::sendDimension("plan", std::string("premium"));
  OBX::sendDimension("returning", true);
  OBX::sendHTTPError(503);
  // The detail screen loads its data: a catalog that answers, a page that is missing, a brochure
  // whose download breaks off.
  if (!server.baseURL().empty()) {
    fetch(session, server.baseURL() + "/catalog?category=lamps&page=1");
    fetch(session, server.baseURL() + "/reviews/42");
    download(session, server.baseURL() + "/brochure.pdf");
  }
  run(2.0);
  navigation->popViewController(true);
  run(1.0);
  fillInCheckout(*navigation, run);

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
