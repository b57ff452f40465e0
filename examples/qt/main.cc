// obx-qt-shop: a Qt Widgets shop recorded by the SDK through obx_qt. It starts obx-collector on
// 127.0.0.1 with a free port, serving a live configuration that records the sign-in page as a
// screenshot (the other screens as wireframes, or every screen as a screenshot with --screenshots),
// runs the scripted journey on the real widgets, waits until the SDK's spool is empty, and prints what
// arrived with the path of the replay page. It exits non-zero if nothing was recorded or something
// was left unsent. Run offscreen with QT_QPA_PLATFORM=offscreen (scripts/run-demo.sh --qt does).
//
// The SDK's part is the few lines under "Recording" below; the shop itself knows nothing of it.
#include <QApplication>
#include <QProcess>
#include <QTest>
#include <algorithm>
#include <atomic>
#include <vector>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "journey.h"
#include "obx/facade.h"
#include "obx/qt.h"
#include "platform/bundle/bundle_info.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "shop_window.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kAccount = "shop-account";
constexpr const char* kProperty = "shop-property";
constexpr double kDrainTimeout = 60.0;

struct Arguments {
  fs::path sandbox = fs::temp_directory_path() / "obx-qt-shop-sandbox";
  std::string collector = OBX_COLLECTOR_PATH;
  bool screenshots = false;
};

bool parse(int argc, char** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--screenshots") {
      arguments.screenshots = true;
    } else if (argument == "--sandbox" && i + 1 < argc) {
      arguments.sandbox = argv[++i];
    } else if (argument == "--collector" && i + 1 < argc) {
      arguments.collector = argv[++i];
    } else {
      std::fprintf(stderr,
                   "Usage: obx-qt-shop [--sandbox DIR] [--collector PATH] [--screenshots]\n"
                   "Runs the Qt shop's journey recorded by the SDK against a local obx-collector.\n");
      return false;
    }
  }
  return true;
}

bool batchesLeft(const fs::path& spool) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(spool, error)) {
    if (entry.is_directory() && entry.path().filename().string().find('_') != std::string::npos) return true;
  }
  return false;
}

// Sessions, screens and frames the collector stored, one line per screen, and the replay pages.
int printArrivals(const fs::path& received) {
  int frames = 0;
  std::error_code error;
  for (const auto& session : fs::directory_iterator(received, error)) {
    if (!session.is_directory()) continue;
    std::printf("obx-qt-shop: session %s\n", session.path().filename().c_str());
    // Folders are numbered in the order the screens arrived.
    std::vector<fs::path> screens;
    for (const auto& screen : fs::directory_iterator(session.path(), error)) {
      if (screen.is_directory()) screens.push_back(screen.path());
    }
    std::sort(screens.begin(), screens.end());
    for (const auto& folder : screens) {
      const fs::directory_entry screen(folder);
      // A screen sent in more than one upload names itself in the first.
      std::string name = "(continued)";
      std::ifstream in(screen.path() / "events.json");
      auto events = nlohmann::json::parse(in, nullptr, false);
      for (const auto& event : events.is_array() ? events : nlohmann::json::array()) {
        if (event.value("t", "") == "screen" && event.contains("d")) name = event["d"].value("sN", name);
      }
      int images = 0;
      for (const auto& file : fs::directory_iterator(screen.path(), error)) images += file.path().extension() == ".jpg";
      frames += images;
      std::printf("  screen %-12s %d frames\n", name.c_str(), images);
    }
    if (fs::exists(session.path() / "index.html")) {
      std::printf("replay page: %s\n", (session.path() / "index.html").c_str());
    }
  }
  return frames;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  Arguments arguments;
  if (!parse(argc, argv, arguments)) return 2;
  const fs::path received = arguments.sandbox.string() + "-collector";
  const fs::path served = arguments.sandbox.string() + "-config";
  for (const auto& folder : {arguments.sandbox, received, served}) fs::remove_all(folder);
  fs::create_directories(served / kAccount);
  std::ofstream(served / kAccount / (std::string(kProperty) + ".json"))
      << (arguments.screenshots ? R"({"replaySessFlags": 3, "dst_forceHiFi": ["SignIn", "Products", "Basket", "Checkout", "OrderPlaced"]})"
                                : R"({"replaySessFlags": 3, "dst_forceHiFi": ["SignIn"]})")
      << "\n";

  QProcess collector;
  collector.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  collector.start(QString::fromStdString(arguments.collector),
                  {"--account", kAccount, "--port", "0", "--data", QString::fromStdString(received.string()), "--config",
                   QString::fromStdString(served.string())});
  if (!collector.waitForStarted(5000) || !collector.waitForReadyRead(10000)) {
    std::fprintf(stderr, "obx-qt-shop: cannot start %s\n", arguments.collector.c_str());
    return 2;
  }
  const QString first = QString::fromUtf8(collector.readLine()).trimmed();
  const QString baseURL = first.section(' ', -1);
  std::printf("obx-qt-shop: collector at %s, storing into %s\n", qPrintable(baseURL), received.c_str());

  obx::platform::setSandboxRoot(arguments.sandbox);
  obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
  shop::ShopWindow window;

  // Recording: initialize, mark what the automatic rules cannot know, attach.
  obx::Configuration configuration(kAccount, kProperty, obx::Consent::analyticsAndRecording, true, true, false, true,
                                   false);
  configuration.endpoint = obx::Endpoint::custom(baseURL.toStdString(), baseURL.toStdString() + "/replay/");
  std::atomic<bool> live{false};
  obx::OBX::setSessionURL([&](const std::optional<std::string>&) { live = true; });
  obx::OBX::initialize(configuration);
  window.card->setProperty(obx::qt_property::kMask, true);
  window.pay->setProperty(obx::qt_property::kFormSubmit, true);
  obx::OBXQt::attach();

  // The recorder of each screen follows the live configuration: it has arrived before the first one.
  if (!QTest::qWaitFor([&] { return live.load(); }, 10000)) std::printf("obx-qt-shop: no live configuration yet\n");
  window.show();
  shop::runJourney(window);

  // The shopper leaves: the application goes to the background, which ends the screen, and the spool empties.
  auto app = obx::platform::Application::shared();
  app->resignActive();
  app->enterBackground();
  const fs::path spool = obx::platform::applicationSupportDirectory() / "obx.ombrix";
  const bool left = !QTest::qWaitFor([&] { return !batchesLeft(spool); }, static_cast<int>(kDrainTimeout * 1000));
  obx::OBXQt::detach();
  collector.terminate();
  collector.waitForFinished(5000);

  const int frames = printArrivals(received);
  if (left) std::printf("obx-qt-shop: batches were still in the spool after %.0f s\n", kDrainTimeout);
  const bool ok = frames > 0 && !left;
  std::printf("obx-qt-shop: %s\n", ok ? "every screen arrived" : "FAILED");
  return ok ? 0 : 1;
}
