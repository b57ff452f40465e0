// Replay under screen changes on real threads: 200 screens, shown at random moments against the
// capture ticks, secret and plain ones alternating, with trips to the background, uploaded to the
// collector as they go. Every frame that arrives is then checked on its own pixels: it shows the
// screen it was stored under, the secret of a secret screen is a plain block, each screen's images
// run from 0 without gaps or repeats, and no batch folder was made after its screen was sent.
#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "e2e_fixture.h"
#include "obx/view_properties.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/label.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "session/image_placeholder_builder.h"
#include "svr/svr_feature.h"
#include "testing/log_capture.h"

namespace obx::e2e {
namespace {

using platform::Rect;

constexpr int kScreens = 200;
constexpr int kBits = 8;
const Rect kSecretFrame = Rect::make(20, 300, 340, 60);

class Screen : public platform::ViewController {};

std::string nameOf(int number) { return "S" + std::to_string(number); }
bool isSecret(int number) { return number % 2 == 1; }

// Screen `number` shows its number as a row of squares, black for a set bit; a secret screen also
// shows a card number in a label that its screen masks hide.
std::shared_ptr<Screen> makeScreen(int number) {
  auto screen = std::make_shared<Screen>();
  setObxScreenName(*screen, nameOf(number));
  auto view = screen->view();
  view->setBackgroundColor(platform::Color{1, 1, 1, 1});
  for (int bit = 0; bit < kBits; ++bit) {
    auto square = std::make_shared<platform::View>(Rect::make(20 + 44 * bit, 600, 36, 36));
    bool set = (number >> bit) & 1;
    square->setBackgroundColor(set ? platform::Color{0, 0, 0, 1} : platform::Color{1, 1, 1, 1});
    view->addSubview(square);
  }
  if (isSecret(number)) view->addSubview(std::make_shared<platform::Label>(kSecretFrame, "4111 1111 1111 1111"));
  return screen;
}

// The number a frame shows, or -1 when its squares can't be read.
int numberShown(const platform::Bitmap& image) {
  int number = 0;
  for (int bit = 0; bit < kBits; ++bit) {
    auto pixel = image.pixelAt(20 + 44 * bit + 18, 618);
    if (pixel.red < 80) {
      number |= 1 << bit;
    } else if (pixel.red < 175) {
      return -1;
    }
  }
  return number;
}

// Whether the secret's region is one plain colour, and not the white of the page.
bool secretIsBlocked(const platform::Bitmap& image) {
  const auto first = image.pixelAt(static_cast<int>(kSecretFrame.minX()) + 4, static_cast<int>(kSecretFrame.minY()) + 4);
  if (first.red > 230 && first.green > 230 && first.blue > 230) return false;
  for (int y = static_cast<int>(kSecretFrame.minY()) + 4; y < static_cast<int>(kSecretFrame.maxY()) - 4; ++y) {
    for (int x = static_cast<int>(kSecretFrame.minX()) + 4; x < static_cast<int>(kSecretFrame.maxX()) - 4; ++x) {
      auto pixel = image.pixelAt(x, y);
      if (std::abs(pixel.red - first.red) > 24 || std::abs(pixel.green - first.green) > 24 ||
          std::abs(pixel.blue - first.blue) > 24) {
        return false;
      }
    }
  }
  return true;
}

class ReplayStressTest : public EndToEndTest {};

TEST_F(ReplayStressTest, FramesStayWithTheirScreensThroughScreenChanges) {
  testing::LogCapture logs;
  // A third of the screens are screenshots, the rest wireframes.
  std::filesystem::create_directories(root_ / "config");
  Json forceHiFi = Json::array();
  for (int number = 0; number < kScreens; number += 3) forceHiFi.push_back(nameOf(number));
  std::ofstream(root_ / "config" / "default.json") << Json{{"dst_forceHiFi", forceHiFi}}.dump();
  startCollector([&](collector::Collector::Options& options) { options.configDirectory = root_ / "config"; });
  startSDK();
  ASSERT_TRUE(pumpUntil([&] { return core_->configuration()->common().isLiveConfigFinished; }, 10.0));
  core_->configuration()->editCommon([](Common& common) {
    common.sendBatchDelay = 0.5;
    common.screenBatchToSend = 50;
    common.batchTime = 1.0;
  });
  auto application = platform::Application::shared();
  auto window = std::make_shared<platform::Window>();
  window->makeKeyAndVisible();
  // The replay feature is built on the SDK's own queue after the live configuration: wait for it.
  std::shared_ptr<SVRFeature> replay;
  ASSERT_TRUE(pumpUntil([&] { return (replay = core_->feature<SVRFeature>(FeatureKey::kSVR)) != nullptr; }, 10.0));
  // Replay has started the screen: the masks the application sets from now on are for the next one.
  auto recorded = [&] { return replay->core->trackingImages()->recorder().batchContext(); };
  auto recording = [&](int number) {
    auto batch = recorded();
    return batch && batch->viewContext.name == nameOf(number);
  };

  std::mt19937 random(20261125);
  std::uniform_real_distribution<double> offset(0.0, 0.25);
  for (int number = 0; number < kScreens; ++number) {
    // The application's masks are for the next screen: they are set once the last one has begun.
    if (number > 0) {
      ASSERT_TRUE(pumpUntil([&] { return recording(number - 1); }, 10.0)) << nameOf(number - 1);
    }
    if (isSecret(number)) core_->setMaskingForCurrentScreen({MaskAutomatic::labels});
    window->setRootViewController(makeScreen(number));
    pump(offset(random));
    if (number % 40 == 39) {
      ASSERT_TRUE(pumpUntil([&] { return recording(number); }, 10.0));
      const std::string before = recorded()->viewContext.screenID;
      application->moveToBackground();
      pump(offset(random));
      application->returnToForeground();
      // The screen comes back as a new one, with the masks it had; the next masks wait for it.
      ASSERT_TRUE(pumpUntil([&] { return recording(number) && recorded()->viewContext.screenID != before; }, 10.0));
    }
  }
  pump(1.0);
  application->moveToBackground();
  ASSERT_TRUE(pumpUntil([&] { return spooledBatches().empty(); }, 60.0)) << spooledBatches().size() << " left";
  core_.reset();
  pump(0.2);

  // Placeholders show no squares; they are recognised by their bytes.
  std::set<std::string> placeholders;
  for (auto reason : {PlaceholderReason::noVideo, PlaceholderReason::highCPU, PlaceholderReason::highMemory}) {
    if (auto bytes = ImagePlaceholderBuilder::composePlaceholder(reason, {390, 844})) placeholders.insert(*bytes);
  }
  std::map<std::string, std::string> names;                    // screen ID -> name
  std::map<std::string, std::vector<std::int64_t>> indexes;    // screen ID -> image indexes
  std::map<std::string, std::vector<const std::string*>> frames;
  const auto screens = collector_->screens();
  for (const auto& screen : screens) {
    // A screen sent in parts names itself in its first.
    for (const auto& event : screen.body) {
      if (event.at("t") == "screen") names[screen.cScreenID] = event.at("d").at("sN").get<std::string>();
    }
    for (const auto& [index, bytes] : screen.images) {
      indexes[screen.cScreenID].push_back(index);
      frames[screen.cScreenID].push_back(&bytes);
    }
  }
  std::size_t checked = 0;
  std::size_t secrets = 0;
  for (auto& [screenID, list] : indexes) {
    SCOPED_TRACE(screenID);
    ASSERT_TRUE(names.count(screenID)) << "images of a screen that never opened";
    std::sort(list.begin(), list.end());
    for (std::size_t i = 0; i < list.size(); ++i) ASSERT_EQ(list[i], static_cast<std::int64_t>(i));
    const int number = std::stoi(names[screenID].substr(1));
    for (const std::string* bytes : frames[screenID]) {
      if (placeholders.count(*bytes)) continue;
      auto image = platform::decodeJPEG(*bytes);
      ASSERT_NE(image, nullptr);
      ++checked;
      EXPECT_EQ(numberShown(*image), number) << "a frame of another screen";
      if (isSecret(number)) {
        ++secrets;
        EXPECT_TRUE(secretIsBlocked(*image)) << "the secret of " << names[screenID] << " shows";
      }
    }
  }
  // A folder written after its screen was sent holds no session: the upload can't parse it.
  EXPECT_EQ(logs.count("Error parser, screenID"), 0u);
  // Most screens last long enough for a frame, also on a slow build: the checks above saw frames.
  EXPECT_GT(checked, static_cast<std::size_t>(kScreens / 2));
  EXPECT_GT(secrets, static_cast<std::size_t>(kScreens / 4));
}

}  // namespace
}  // namespace obx::e2e
