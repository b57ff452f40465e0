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
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/text_field.h"
#include "platform/ui/window.h"

namespace demo {

using obx::platform::Rect;

// A screen of the demo: a white page with a title and what `build` adds.
class DemoScreen : public obx::platform::ViewController {
 public:
  explicit DemoScreen(std::string heading) : heading_(std::move(heading)) {}
  void viewDidLoad() override {
    ViewController::viewDidLoad();
    auto page = view();
    page->setFrame(Rect::make(0, 0, 390, 844));
    page->setBackgroundColor(obx::platform::Color{1, 1, 1, 1});
    page->addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 60, 350, 40), heading_));
    build(*page);
  }

 protected:
  virtual void build(obx::platform::View& page) { (void)page; }

 private:
  std::string heading_;
};

class ListScreen : public DemoScreen {
 public:
  ListScreen() : DemoScreen("Lamps") {}
  void build(obx::platform::View& page) override {
    const char* rows[] = {"Arc lamp", "Desk lamp", "Paper lantern", "Reading light"};
    for (int i = 0; i < 4; ++i) {
      page.addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 130 + 56 * i, 350, 44), rows[i]));
    }
  }
};

class DetailScreen : public DemoScreen {
 public:
  DetailScreen() : DemoScreen("Arc lamp") {}
  void build(obx::platform::View& page) override {
    auto photo = std::make_shared<obx::platform::View>(Rect::make(20, 120, 350, 220));
    photo->setBackgroundColor(obx::platform::Color{0.93, 0.86, 0.7, 1});
    page.addSubview(photo);
    page.addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 360, 350, 30), "129.00 EUR"));
    page.addSubview(std::make_shared<obx::platform::Button>(Rect::make(20, 420, 350, 50), "Add to basket"));
  }
};

// Text fields are masked in replay by default: the email and the password (typed as a secure entry)
// show as blocks of the masking colour.
class SignInScreen : public DemoScreen {
 public:
  SignInScreen() : DemoScreen("Sign in") {}
  void build(obx::platform::View& page) override {
    email = std::make_shared<obx::platform::TextField>(Rect::make(20, 140, 350, 44));
    email->setPlaceholder("Email");
    password = std::make_shared<obx::platform::TextField>(Rect::make(20, 210, 350, 44));
    password->setSecureTextEntry(true);
    password->setText("correct horse battery staple");
    page.addSubview(email);
    page.addSubview(password);
    page.addSubview(std::make_shared<obx::platform::Button>(Rect::make(20, 290, 350, 50), "Sign in"));
  }
  std::shared_ptr<obx::platform::TextField> email;
  std::shared_ptr<obx::platform::TextField> password;
};

// Listed in the live configuration's screensMasking: replay shows a placeholder instead.
class PaymentScreen : public DemoScreen {
 public:
  PaymentScreen() : DemoScreen("Payment") {}
  void build(obx::platform::View& page) override {
    page.addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 140, 350, 30), "Card 4111 1111 1111 1111"));
  }
};

// Nothing on it moves: replay takes its opening images and then none.
class AboutScreen : public DemoScreen {
 public:
  AboutScreen() : DemoScreen("About") {}
  void build(obx::platform::View& page) override {
    page.addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 140, 350, 30), "Lamps & Co, since 1921"));
  }
};

class SettingsScreen : public DemoScreen {
 public:
  SettingsScreen() : DemoScreen("Settings") {}
};

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

  // Signing in: the user types an email; the password field already holds a secret.
  auto signIn = std::make_shared<SignInScreen>();
  navigation->pushViewController(signIn, true);
  run(1.0);
  if (signIn->email) {
    signIn->email->becomeFirstResponder();
    signIn->email->insertText("ada@example.test");
    signIn->email->resignFirstResponder();
  }
  run(1.5);
  navigation->pushViewController(std::make_shared<PaymentScreen>(), true);
  run(2.0);
  navigation->popViewController(true);
  run(0.5);
  navigation->popViewController(true);
  run(0.5);
  navigation->pushViewController(std::make_shared<AboutScreen>(), true);
  run(4.0);
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
