// A host application runs through screens with the whole SDK (Core and its features) on the manual
// scheduler; what replay stored is read back from the spool: image files, decoded JPEGs and the
// "image" events beside them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "config/session_configuration.h"
#include "core/core.h"
#include "lifecycle/batch_coordinator.h"
#include "obx/view_properties.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "platform/ui/label.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/text_field.h"
#include "platform/ui/window.h"
#include "session/crash_coordinator.h"
#include "session/crash_snapshot.h"
#include "session/image_placeholder_builder.h"
#include "svr/recording_fixture.h"
#include "svr/svr_feature.h"
#include "testing/crash_slots.h"
#include "testing/fake_reachability.h"
#include "testing/log_capture.h"
#include "testing/spool.h"
#include "testing/steady_process_info.h"

namespace obx {
namespace {

using platform::Rect;
using testing::pixelsOff;

class Screen : public platform::ViewController {};

struct StoredBatch {
  std::string id;
  std::vector<Json> events;
  std::vector<Image> images;
  double startTime = 0;

  std::string screenID() const { return id.substr(0, id.find('_')); }
  std::vector<Json> ofType(const std::string& type) const {
    std::vector<Json> list;
    for (const Json& event : events) {
      if (event["t"] == type) list.push_back(event);
    }
    return list;
  }
  std::vector<std::int64_t> imageFileIndexes() const {
    std::vector<std::int64_t> list;
    for (const Image& image : images) list.push_back(image.index);
    return list;
  }
  std::vector<std::int64_t> imageEventIndexes() const {
    std::vector<std::int64_t> list;
    for (const Json& event : ofType("image")) list.push_back(event["d"]["index"].get<std::int64_t>());
    return list;
  }
};

std::shared_ptr<const platform::Bitmap> decode(const std::string& bytes) { return platform::decodeJPEG(bytes); }

// 0, 1, ..., count - 1: the indices of a screen's images, contiguous from 0.
std::vector<std::int64_t> zeroTo(std::size_t count) {
  std::vector<std::int64_t> indices(count);
  for (std::size_t i = 0; i < count; ++i) indices[i] = static_cast<std::int64_t>(i);
  return indices;
}

class ReplayEndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setDefaultScheduler(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    core_ = Core::make(
        scheduler_,
        [](std::shared_ptr<platform::Scheduler>) {
          auto reachability = std::make_shared<testing::FakeReachability>();
          reachability->set(platform::Reachability::Connection::wifi);
          return reachability;
        },
        std::make_shared<testing::SteadyProcessInfo>());
  }

  void TearDown() override {
    core_.reset();
    scheduler_->runUntilIdle();
    platform::setDefaultScheduler(nullptr);
  }

  // Starts the SDK; `document` plays the live configuration's answer (no request goes out).
  // The mode is the wireframe unless a test asks for another.
  void start(const std::string& document = "{}", bool sessionReplayEnabled = true,
             SessionReplayMode mode = SessionReplayMode::loFi) {
    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration.sessionReplayEnabled = sessionReplayEnabled;
    configuration.sessionReplayMode = mode;
    configuration.endpoint = Endpoint::custom("not a url", "https://portal.test/replay/");
    core_->initialize(configuration, Platform::native());
    scheduler_->runUntilIdle();
    serverSends(document);
    window_->makeKeyAndVisible();
  }

  void serverSends(const std::string& document) {
    auto decoded = SessionConfiguration::decode(document);
    ASSERT_TRUE(decoded) << document;
    core_->configuration()->updateLiveConfiguration(*decoded);
    scheduler_->runUntilIdle();
  }

  // A screen named `name` with a label, shown at the root or pushed on the navigation stack.
  // `settle` runs every queue after; without it the test steps through them itself.
  std::shared_ptr<Screen> show(const std::string& name, bool disableRecording = false, bool settle = true) {
    auto screen = std::make_shared<Screen>();
    setObxScreenName(*screen, name);
    if (disableRecording) setObxDisableRecordingOnThisScreen(*screen, true);
    auto label = std::make_shared<platform::Label>(kLabelFrame, "Balance 1,234.56 " + name);
    screen->view()->addSubview(label);
    labels_[name] = label;
    if (!navigation_) {
      navigation_ = platform::NavigationController::make(screen);
      window_->setRootViewController(navigation_);
    } else {
      navigation_->pushViewController(screen, false);
    }
    if (settle) scheduler_->runUntilIdle();
    return screen;
  }

  std::shared_ptr<SVRCore> svr() const {
    auto feature = core_->feature<SVRFeature>(FeatureKey::kSVR);
    return feature ? feature->core : nullptr;
  }

  // Every batch folder of the spool, read back through a store of its own, in opening order.
  std::vector<StoredBatch> spool() {
    scheduler_->runUntilIdle();
    std::vector<StoredBatch> batches;
    for (const std::string& id : spool_.batchIDs()) {
      StoredBatch batch{id, spool_.events(id), spool_.repository().images(id), 0};
      for (const Json& event : batch.ofType("batch")) batch.startTime = event["d"]["startTime"].get<double>();
      batches.push_back(std::move(batch));
    }
    std::sort(batches.begin(), batches.end(),
              [](const StoredBatch& a, const StoredBatch& b) { return a.startTime < b.startTime; });
    return batches;
  }

  // The batches of the screen shown under `name`, in order.
  std::vector<StoredBatch> batchesOf(const std::string& name) {
    std::vector<StoredBatch> list;
    for (auto& batch : spool()) {
      for (const Json& screen : batch.ofType("screen")) {
        if (screen["d"]["sN"] == name) screenIDs_[name] = batch.screenID();
      }
      if (screenIDs_.count(name) && screenIDs_[name] == batch.screenID()) list.push_back(batch);
    }
    return list;
  }

  // The bytes the placeholder builder gives for `reason`.
  std::string placeholderBytes(PlaceholderReason reason) {
    std::optional<std::string> bytes;
    core_->commonDependencies()->imagePlaceholderBuilder->createPlaceholder(
        reason, [&](std::optional<std::string> data) { bytes = std::move(data); });
    scheduler_->runUntilIdle();
    return bytes.value_or("");
  }

  const Rect kLabelFrame = Rect::make(20, 120, 300, 40);

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::Spool spool_{scheduler_};
  testing::LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<Core> core_;
  std::shared_ptr<platform::Window> window_ = std::make_shared<platform::Window>();
  std::shared_ptr<platform::NavigationController> navigation_;
  std::map<std::string, std::shared_ptr<platform::Label>> labels_;
  std::map<std::string, std::string> screenIDs_;
};

// A still screen gives its first image at once and no other however long it stays (the opening
// looks on the ticks repeat it and are dropped); each further batch opens with an "image" event of
// the image on display.
TEST_F(ReplayEndToEndTest, StillScreenGivesOpeningImagesThenNoneUntilOutOfSample) {
  start();
  show("Home");
  scheduler_->advance(12.0);

  auto batches = batchesOf("Home");
  ASSERT_EQ(batches.size(), 3u);
  EXPECT_EQ(batches[0].imageFileIndexes(), (std::vector<std::int64_t>{0}));
  EXPECT_EQ(batches[0].imageEventIndexes(), (std::vector<std::int64_t>{0}));
  for (const Image& image : batches[0].images) {
    auto bitmap = decode(image.data);
    ASSERT_NE(bitmap, nullptr) << "image " << image.index << " is not a JPEG";
    EXPECT_EQ(bitmap->width(), 390);
    EXPECT_EQ(bitmap->height(), 844);
  }
  const Json first = batches[0].ofType("image").front()["d"];
  EXPECT_EQ(first["name"], "0");
  EXPECT_EQ(first["width"], 390);
  EXPECT_EQ(first["height"], 844);
  EXPECT_EQ(batches[0].ofType("image").front()["o"], 0) << "the first image does not wait for a tick";
  for (std::size_t i = 1; i < batches.size(); ++i) {
    SCOPED_TRACE(batches[i].id);
    EXPECT_TRUE(batches[i].images.empty()) << "a still screen takes no further image";
    EXPECT_EQ(batches[i].imageEventIndexes(), (std::vector<std::int64_t>{0}));
    EXPECT_EQ(batches[i].ofType("image").front()["d"]["timestamp"], batches[0].ofType("image").back()["d"]["timestamp"]);
  }

  // Taken out of replay's sample, the feature goes and takes the images of the screen on display
  // with it; the events stay for analytics.
  serverSends(R"({"replaySessFlags": 2})");
  EXPECT_EQ(svr(), nullptr);
  auto after = batchesOf("Home");
  ASSERT_EQ(after.size(), 3u);
  for (const auto& batch : after) {
    EXPECT_TRUE(batch.images.empty());
    EXPECT_FALSE(batch.events.empty());
  }
  EXPECT_TRUE(logs_.contains("Delete images for screen: " + after[0].screenID(), LogLevel::developer));
}

// While a screen has no image yet, a crash would leave it owed a placeholder: at every step of a
// screen change the crash snapshot names the new screen only while it has no image 0, and is empty
// once the screen has its first image or its placeholder.
TEST_F(ReplayEndToEndTest, CrashSnapshotOwesAPlaceholderOnlyUntilTheFirstImage) {
  start(R"({"dst_screenMasking": ["Secret"]})");
  show("Home");
  scheduler_->advance(1.0);
  for (const std::string name : {"Account", "Secret"}) {
    SCOPED_TRACE(name);
    show(name, false, false);
    bool owed = false;
    do {
      auto slot = testing::crashSlot(CrashSnapshot::Part::replay);
      if (!slot) continue;
      owed = true;
      auto placeholder = CrashSnapshot::owedPlaceholderOf(*slot);
      ASSERT_TRUE(placeholder);
      EXPECT_EQ(placeholder->reason, name == "Secret" ? PlaceholderReason::videoMasked : PlaceholderReason::noVideo);
      EXPECT_EQ(placeholder->screen.width, 390);
      EXPECT_EQ(slot->batch.viewContext.name, name);
      EXPECT_TRUE(spool_.repository().images(slot->batch.id).empty()) << "still owed after its image 0";
    } while (scheduler_->runOne());
    scheduler_->advance(1.0);
    EXPECT_TRUE(owed);
    EXPECT_FALSE(testing::crashSlot(CrashSnapshot::Part::replay));
  }
}

// Screens left out or masked by the live configuration, or discarded by the application: which
// ones get a placeholder image (with its "image" and "imagePlaceholder" events) and which none.
TEST_F(ReplayEndToEndTest, PlaceholdersOfScreensThatMayNotBeRecorded) {
  start(R"({"dst_screenMasking": ["Secret", "Both"], "dst_disableScreenTracking": ["Hidden", "Both"]})");
  struct Case {
    std::string name;
    bool disableRecording;
    std::optional<PlaceholderReason> placeholder;
    std::string logText;
  };
  const std::vector<Case> cases = {
      {"Secret", false, PlaceholderReason::videoMasked, "Video recording masked for this screen"},
      {"Hidden", false, std::nullopt, ""},
      {"Both", false, std::nullopt, ""},
      {"Private", true, PlaceholderReason::videoDisabled, "Video disabled on this screen"},
  };
  for (const Case& c : cases) {
    show(c.name, c.disableRecording);
    scheduler_->advance(2.0);
  }
  show("After");
  scheduler_->advance(1.0);

  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto batches = batchesOf(c.name);
    if (c.name == "Hidden" || c.name == "Both") {
      // Left out of tracking: RUM writes nothing, and replay no image.
      for (const auto& batch : batches) EXPECT_TRUE(batch.images.empty());
      continue;
    }
    ASSERT_EQ(batches.size(), 1u);
    const StoredBatch& batch = batches[0];
    ASSERT_EQ(batch.images.size(), 1u) << "one placeholder, no wireframe";
    EXPECT_EQ(batch.images[0].data, placeholderBytes(*c.placeholder));
    EXPECT_EQ(batch.imageEventIndexes(), (std::vector<std::int64_t>{0}));
    ASSERT_EQ(batch.ofType("placeholder").size(), 1u);
    EXPECT_EQ(batch.ofType("placeholder")[0]["d"], true);
    EXPECT_TRUE(logs_.contains("Create placeholder '" + c.logText + "' -> ID: " + batch.screenID(), LogLevel::qa));
    EXPECT_TRUE(logs_.contains("Screen " + c.name + " has been discarded or masked", LogLevel::qa));
  }
  // Hidden screens are neither analysed nor recorded: no batch of theirs holds an image.
  for (const auto& batch : spool()) {
    for (const Json& screen : batch.ofType("screen")) EXPECT_NE(screen["d"]["sN"], "Hidden");
  }
  auto after = batchesOf("After");
  ASSERT_EQ(after.size(), 1u);
  EXPECT_EQ(after[0].imageFileIndexes(), (std::vector<std::int64_t>{0})) << "the next screen records";
  EXPECT_TRUE(after[0].ofType("placeholder").empty());
}

// Under the automatic mode a screen is a wireframe, its still opening looks sent once: the
// screenshot recorder never runs. Then the mode asked of the recorder per screen: the configured
// one, forceHiFi and forceLoFi by name (forceLoFi wins), and Lo-Fi for the screen right after a
// discarded one, whatever is configured.
TEST_F(ReplayEndToEndTest, ModeChoiceAndLoFiAfterADiscardedScreen) {
  start(R"({"dst_forceHiFi": ["Gallery", "Both"], "dst_forceLoFi": ["Both"], "dst_screenMasking": ["Secret"]})", true,
        SessionReplayMode::automatic);
  show("Start");
  scheduler_->advance(3.0);
  auto first = batchesOf("Start");
  ASSERT_FALSE(first.empty());
  EXPECT_EQ(first[0].imageFileIndexes(), (std::vector<std::int64_t>{0}));
  EXPECT_TRUE(logs_.contains("Create image of screen in LoFi screenID: " + first[0].screenID()));
  EXPECT_FALSE(logs_.contains("Create image of screen in HiFi"));

  core_->configuration()->editUserConfiguration([](UserConfiguration& user) { user.sessionReplayMode = SessionReplayMode::hiFi; });
  core_->configuration()->applyUserConfiguration();
  scheduler_->runUntilIdle();
  const std::vector<std::pair<std::string, SessionReplayMode>> journey = {
      {"Home", SessionReplayMode::hiFi},    {"Both", SessionReplayMode::loFi},
      {"Gallery", SessionReplayMode::hiFi}, {"Secret", SessionReplayMode::hiFi},  // discarded: left as it was
      {"Cart", SessionReplayMode::loFi},    {"Checkout", SessionReplayMode::hiFi},
  };
  for (const auto& [name, mode] : journey) {
    SCOPED_TRACE(name);
    show(name);
    ASSERT_NE(svr(), nullptr);
    ASSERT_NE(svr()->trackingImages(), nullptr);
    EXPECT_EQ(svr()->trackingImages()->sessionReplayMode(), mode);
  }
  // The screen after the discarded one is recorded as any other.
  auto cart = batchesOf("Cart");
  ASSERT_EQ(cart.size(), 1u);
  EXPECT_EQ(cart[0].imageFileIndexes(), (std::vector<std::int64_t>{0}));
}

// Images stay with their screen across a change. A tick that falls right after a push, before the
// new screen is detected, does not photograph the new screen for the old one: the old screen's batch
// holds no pixel of the new screen's secret, which the new screen's masks block in its own images.
// An image that arrives after its screen was left is dropped: it is stored neither in its own closed
// batch nor in the present screen's, whose images still start at 0 and follow in order.
TEST_F(ReplayEndToEndTest, ImagesStayWithTheirScreenAcrossAChange) {
  window_->setBackgroundColor(platform::Color{1, 1, 1, 1});
  start();
  show("Home");
  scheduler_->advance(1.0);
  auto home = core_->commonDependencies()->batchCoordinator->batchContext();
  ASSERT_TRUE(home.has_value());
  auto secret = std::make_shared<Screen>();
  setObxScreenName(*secret, "Secret");
  auto card = testing::secretLabel(Rect::make(20, 500, 300, 40));
  secret->view()->addSubview(card);
  core_->setMaskingForCurrentScreen({MaskAutomatic::labels});
  navigation_->pushViewController(secret, false);
  svr()->trackingImages()->recorder().setNeedNewImage(true);
  svr()->trackingImages()->videoFrame();
  scheduler_->advance(1.0);
  auto late = svr()->trackingImages()->recorder().currentImage();
  ASSERT_TRUE(late.has_value());
  ImageToParse leftBehind = *late;
  leftBehind.batchContext = *home;
  leftBehind.index = 7;
  svr()->publishImage(leftBehind);
  scheduler_->runUntilIdle();

  const platform::Point origin = card->convertPointToView(platform::Point{0, 0}, nullptr);
  const Rect shown = Rect::make(origin.x, origin.y, 300, 40);
  auto homeBatches = batchesOf("Home");
  ASSERT_EQ(homeBatches.size(), 1u);
  EXPECT_EQ(homeBatches[0].imageFileIndexes(), (std::vector<std::int64_t>{0}));
  EXPECT_EQ(homeBatches[0].imageEventIndexes(), (std::vector<std::int64_t>{0}));
  auto bitmap = decode(homeBatches[0].images[0].data);
  ASSERT_NE(bitmap, nullptr);
  EXPECT_EQ(pixelsOff(*bitmap, shown, 255, 255, 255, 8, 4), 0) << "Home's image shows the next screen";
  auto secretBatches = batchesOf("Secret");
  ASSERT_EQ(secretBatches.size(), 1u);
  ASSERT_FALSE(secretBatches[0].images.empty());
  EXPECT_EQ(secretBatches[0].imageFileIndexes(), zeroTo(secretBatches[0].images.size()));
  for (const Image& image : secretBatches[0].images) {
    bitmap = decode(image.data);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(pixelsOff(*bitmap, shown, 128, 128, 128, 24, 4), 0) << "the secret's block";
  }
  // The next batch opens with the image on display, the screen's last, not the late one.
  const std::int64_t last = secretBatches[0].images.back().index;
  scheduler_->advance(5.0);
  secretBatches = batchesOf("Secret");
  ASSERT_EQ(secretBatches.size(), 2u);
  EXPECT_EQ(secretBatches[1].imageEventIndexes(), (std::vector<std::int64_t>{last}));
}

// A device under stress: the screen gets one placeholder for the whole period instead of images,
// the same placeholder once more as the stress ends, then its images resume.
TEST_F(ReplayEndToEndTest, StressGivesOnePlaceholderThenResumes) {
  start();
  // Any CPU use counts as stress from the next measure on.
  core_->configuration()->editCommon([](Common& common) { common.kMaxCPUUsagePerCore = -1.0; });
  scheduler_->advance(5.0);
  show("Busy");
  scheduler_->advance(4.0);  // ticks under stress, before the next measure
  auto during = batchesOf("Busy");
  ASSERT_EQ(during.size(), 1u);
  EXPECT_EQ(during[0].images.size(), 1u);
  EXPECT_EQ(during[0].ofType("placeholder").size(), 1u);
  const std::string highCPU = placeholderBytes(PlaceholderReason::highCPU);
  EXPECT_EQ(during[0].images[0].data, highCPU);

  core_->configuration()->editCommon([](Common& common) { common.kMaxCPUUsagePerCore = 1e9; });
  scheduler_->advance(4.0);  // the measure after 10 s ends the stress
  auto batches = batchesOf("Busy");
  std::vector<Image> images;
  std::size_t placeholders = 0;
  for (const auto& batch : batches) {
    images.insert(images.end(), batch.images.begin(), batch.images.end());
    placeholders += batch.ofType("placeholder").size();
  }
  EXPECT_EQ(placeholders, 2u) << "once as the stress begins, once as it ends";
  std::size_t wireframes = 0;
  for (const Image& image : images) {
    if (image.data != highCPU) {
      ++wireframes;
      EXPECT_NE(decode(image.data), nullptr);
    }
  }
  EXPECT_EQ(wireframes, 1u) << "the screen's image, once the stress is over";
}

// In the background the capture stops: layout changes take no image and nothing is written into
// the screen's batch, which the background closed; the screen that comes back records again. Masks
// the application set for the screen hold for it and, after the trip, for its restart; the screen
// after falls back to the configured masks: the label region shows the masking colour, then ink.
TEST_F(ReplayEndToEndTest, BackgroundTripStopsTheCaptureAndKeepsTheScreensMasks) {
  start();
  core_->setMaskingForCurrentScreen({MaskAutomatic::labels});
  show("Account");
  scheduler_->advance(1.0);
  auto imagesOfAccount = [&] {
    std::size_t images = 0;
    for (const auto& batch : batchesOf("Account")) images += batch.images.size();
    return images;
  };
  const std::size_t shown = imagesOfAccount();
  application_->moveToBackground();
  scheduler_->runUntilIdle();
  EXPECT_EQ(svr()->trackingImages()->runningFramesPerSecond(), 0);
  for (int i = 0; i < 4; ++i) {
    labels_["Account"]->setFrame(i < 3 ? Rect::make(20, 200 + 40 * i, 300, 40) : kLabelFrame);
    scheduler_->advance(1.0);
  }
  EXPECT_EQ(imagesOfAccount(), shown);
  application_->returnToForeground();
  scheduler_->runUntilIdle();
  scheduler_->advance(1.0);
  auto back = batchesOf("Account");
  ASSERT_FALSE(back.back().images.empty());
  EXPECT_EQ(back.back().imageFileIndexes(), zeroTo(back.back().images.size()));
  show("Next");
  scheduler_->advance(1.0);

  const platform::Point origin = labels_["Next"]->convertPointToView(platform::Point{0, 0}, nullptr);
  const Rect label = Rect::make(origin.x, origin.y, kLabelFrame.size.width, kLabelFrame.size.height);
  std::vector<std::pair<std::string, bool>> firstImages;  // screen ID, label masked
  for (const auto& batch : spool()) {
    if (batch.images.empty()) continue;
    auto bitmap = decode(batch.images.front().data);
    ASSERT_NE(bitmap, nullptr);
    const int off = pixelsOff(*bitmap, label, 128, 128, 128, 24, 4);
    // A block in the masking colour leaves a few pixels of JPEG fringe; shown text misses it everywhere.
    firstImages.emplace_back(batch.screenID(), off < 50);
  }
  ASSERT_EQ(firstImages.size(), 3u) << "Account, Account after the return, Next";
  EXPECT_TRUE(firstImages[0].second) << "the application's masks";
  EXPECT_TRUE(firstImages[1].second) << "the same masks after the return";
  EXPECT_FALSE(firstImages[2].second) << "the configured masks leave labels visible";
  EXPECT_NE(firstImages[0].first, firstImages[1].first) << "the return starts a new screen";
}

// On a crash the screen on display gets the placeholder it would get at its end: a masked screen
// one more "Video recording masked for this screen" image; a recorded screen, or one while replay
// is switched off (nothing records, so nothing is owed), none.
TEST_F(ReplayEndToEndTest, CrashGivesTheScreensPlaceholder) {
  struct Case {
    std::string name;
    bool replayEnabled;
    std::size_t imagesBefore;
    std::size_t imagesAfter;
  };
  const std::vector<Case> cases = {
      {"Secret", true, 1, 2},
      {"Home", true, 1, 1},
      {"Plain", false, 0, 0},
  };
  start(R"({"dst_screenMasking": ["Secret"]})");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (!c.replayEnabled) {
      // Replay switched off for the screens that follow: the feature is built again without its loop.
      core_->configuration()->editUserConfiguration([](UserConfiguration& user) { user.sessionReplayEnabled = false; });
      core_->configuration()->applyUserConfiguration();
      core_->setConsent(Consent::analytics);
      scheduler_->runUntilIdle();
      core_->setConsent(Consent::analyticsAndRecording);
      scheduler_->runUntilIdle();
      ASSERT_NE(svr(), nullptr);
      ASSERT_EQ(svr()->trackingImages(), nullptr);
    }
    show(c.name);
    scheduler_->advance(1.0);
    auto before = batchesOf(c.name);
    ASSERT_EQ(before.size(), 1u);
    EXPECT_EQ(before[0].images.size(), c.imagesBefore);
    CrashCoordinator::shared().crashed(Crash{1, "boom", 11, {}});
    scheduler_->runUntilIdle();
    auto after = batchesOf(c.name);
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].imageEventIndexes().size(), c.imagesAfter);
    EXPECT_EQ(after[0].ofType("placeholder").size(), c.imagesAfter - c.imagesBefore + (c.name == "Secret" ? 1 : 0));
  }
}

}  // namespace
}  // namespace obx
