// Replay from a host application's screens to the collector over loopback, through the whole SDK on
// real threads: the upload of a recorded screen carries its frames.
#include <algorithm>
#include <cstdlib>

#include "e2e_fixture.h"
#include "obx/view_properties.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/label.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/window.h"

namespace obx::e2e {
namespace {

class Screen : public platform::ViewController {};

std::shared_ptr<Screen> makeScreen(const std::string& name) {
  auto screen = std::make_shared<Screen>();
  setObxScreenName(*screen, name);
  screen->view()->addSubview(
      std::make_shared<platform::Label>(platform::Rect::make(20, 120, 300, 40), "Balance 1,234.56"));
  return screen;
}

class ReplayUploadEndToEndTest : public EndToEndTest {};

// A recorded screen arrives with an "images" event whose durations run from one image's offset to
// the next (the last to the screen's end), and with every image it names as a JPEG that the
// collector deciphered with the session's key.
TEST_F(ReplayUploadEndToEndTest, RecordedScreenArrivesWithItsFrames) {
  startCollector();
  startSDK();
  auto navigation = platform::NavigationController::make(makeScreen("Home"));
  auto window = std::make_shared<platform::Window>();
  window->setRootViewController(navigation);
  window->makeKeyAndVisible();
  pump(2.0);  // one batch: the opening images of a still screen
  navigation->pushViewController(makeScreen("Detail"), false);
  pump(1.0);
  auto application = platform::Application::shared();
  application->resignActive();
  application->enterBackground();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 30.0)) << spooledBatches().size() << " left";

  const collector::Collector::ReceivedScreen* home = nullptr;
  const auto screens = collector_->screens();
  for (const auto& screen : screens) {
    for (const auto& event : screen.body) {
      if (event.at("t") == "screen" && event.at("d").at("sN") == "Home") home = &screen;
    }
  }
  ASSERT_NE(home, nullptr) << screens.size() << " screens arrived, none named Home";

  const Json* images = nullptr;
  for (const auto& event : home->body) {
    if (event.at("t") == "images") images = &event;
    EXPECT_NE(event.at("t"), "image") << "single image events stay on the device";
  }
  ASSERT_NE(images, nullptr);
  const Json& frames = images->at("d");
  // The configured mode is automatic: the screen is a wireframe; it stays still, so its opening
  // looks repeat the first and only that one is sent.
  ASSERT_EQ(frames.size(), 1u) << frames.dump();
  std::int64_t total = 0;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    SCOPED_TRACE(frames[i].dump());
    EXPECT_EQ(frames[i].at("sIndex"), static_cast<std::int64_t>(i));
    EXPECT_EQ(frames[i].at("sName"), std::to_string(i) + ".jpg");
    EXPECT_EQ(frames[i].at("sWidth"), 390);
    EXPECT_EQ(frames[i].at("sHeight"), 844);
    const std::int64_t duration = frames[i].at("sDuration").get<std::int64_t>();
    EXPECT_GE(duration, 1);
    total += duration;
    if (i + 1 < frames.size()) {
      // Offsets and timestamps are both whole milliseconds of the same moment, truncated apart.
      const std::int64_t between =
          frames[i + 1].at("timestamp").get<std::int64_t>() - frames[i].at("timestamp").get<std::int64_t>();
      EXPECT_LE(std::abs(duration - between), 1) << "between " << between;
    }
  }
  // The last frame lasts until the screen's end, where the event itself stands.
  EXPECT_LE(total, images->at("o").get<std::int64_t>());
  EXPECT_GT(total, images->at("o").get<std::int64_t>() - 300) << "the first frame is taken at the screen's start";

  ASSERT_EQ(home->images.size(), frames.size());
  for (const auto& [index, bytes] : home->images) {
    SCOPED_TRACE(index);
    auto bitmap = platform::decodeJPEG(bytes);
    ASSERT_NE(bitmap, nullptr) << "not a JPEG once deciphered";
    EXPECT_EQ(bitmap->width(), 390);
    EXPECT_EQ(bitmap->height(), 844);
  }
}

}  // namespace
}  // namespace obx::e2e
