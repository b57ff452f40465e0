// A real Qt window recorded end to end: typed into with QTest, its frames uploaded to a collector,
// deciphered and decoded there, and read pixel by pixel.
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "platform/graphics/image_coding.h"
#include "qt_sdk_fixture.h"

namespace obx::qt {
namespace {

// How much the pixels of `rect` (in points, at `scale` pixels per point) differ from one another.
int spreadIn(const platform::Bitmap& image, QRect rect) {
  const double scale = image.scale();
  const platform::Pixel first = image.pixelAt(static_cast<int>(rect.x() * scale), static_cast<int>(rect.y() * scale));
  int spread = 0;
  for (int y = static_cast<int>(rect.top() * scale); y < static_cast<int>(rect.bottom() * scale); ++y) {
    for (int x = static_cast<int>(rect.left() * scale); x < static_cast<int>(rect.right() * scale); ++x) {
      platform::Pixel p = image.pixelAt(x, y);
      spread = std::max({spread, std::abs(p.red - first.red), std::abs(p.green - first.green), std::abs(p.blue - first.blue)});
    }
  }
  return spread;
}

// Which recorder makes the frames: the screen named in the live configuration's "dst_forceHiFi" is
// photographed, the others drawn as wireframes.
class QtRecordingTest : public QtSDKTest, public ::testing::WithParamInterface<bool> {};

// A typed password and a card number marked with obxMask are one flat block in every uploaded frame of
// either recorder, while the label beside them is drawn with its text.
TEST_P(QtRecordingTest, SecretsAreFlatInEveryUploadedFrame) {
  const bool screenshot = GetParam();
  startCollector(screenshot ? R"({"replaySessFlags": 3, "dst_forceHiFi": ["SignIn"]})" : R"({"replaySessFlags": 3})");
  initialize();
  // The screen's recorder is chosen from the live configuration: it has arrived before the screen.
  ASSERT_TRUE(runUntil([&] { return core_->configuration()->common().isLiveConfigFinished; }, 10.0));
  QWidget window;
  window.setObjectName("SignIn");
  window.resize(360, 240);
  auto* welcome = new QLabel("Welcome back, shopper", &window);
  welcome->setGeometry(20, 20, 320, 40);
  QFont font = welcome->font();
  font.setPixelSize(24);
  welcome->setFont(font);
  auto* password = new QLineEdit(&window);
  password->setEchoMode(QLineEdit::Password);
  password->setGeometry(20, 90, 320, 40);
  auto* card = new QLineEdit(&window);
  card->setProperty("obxMask", true);
  card->setGeometry(20, 160, 320, 40);
  window.show();
  ASSERT_TRUE(OBXQt::attach());
  run(0.5);
  QTest::keyClicks(password, "Tr0ub4dor&3");
  QTest::keyClicks(card, "4111 1111 1111 1111");
  run(1.5);
  ASSERT_TRUE(sendEverything());

  std::size_t frames = 0;
  for (const auto& screen : collector_->screens()) {
    for (const auto& [index, jpeg] : screen.images) {
      auto image = platform::decodeJPEG(jpeg);
      ASSERT_TRUE(image) << "frame " << index;
      ASSERT_EQ(image->size().width, 360);
      ++frames;
      SCOPED_TRACE("frame " + std::to_string(index));
      // The blocks' rounded corners and white border are left out: 6 points in from each edge.
      EXPECT_LE(spreadIn(*image, password->geometry().adjusted(6, 6, -6, -6)), 24);
      EXPECT_LE(spreadIn(*image, card->geometry().adjusted(6, 6, -6, -6)), 24);
      EXPECT_GE(spreadIn(*image, welcome->geometry()), 100) << "the label's text is drawn";
    }
  }
  EXPECT_GE(frames, 1u);
  const std::string recorder = screenshot ? "in HiFi screenID" : "in LoFi screenID";
  const auto lines = logs_.messages();
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.find(recorder) != std::string::npos; }))
      << "the frames come from the recorder the configuration asks for";
}

INSTANTIATE_TEST_SUITE_P(Recorders, QtRecordingTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Screenshot" : "Wireframe"; });

}  // namespace
}  // namespace obx::qt
