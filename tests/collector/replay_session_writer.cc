// obx_replay_session_writer: writes a small recorded session into a collector's data folder, for
// the browser test of the replay page. Its frames are drawn by the SDK's own wireframe recorder from
// a window of real views (text fields masked by default, a coloured marker that changes on every
// frame), its events are stored records put through the SDK's upload parser and request builder,
// and the collector deciphers, checks and stores them, writing the replay page as for any session.
//
// Usage: obx_replay_session_writer <folder>. Prints on stdout one JSON object that tells what the
// page must show: the page's path, the screens' frames with their marker colours and times, the
// masked rectangles, the touches and the mask colour. The marker colours are none of the page's own.
//
// obx_replay_session_writer --pixels <in.png> <out.ppm> writes a PNG's pixels as a binary PPM, so
// that the test reads a screenshot through the SDK's own PNG decoding.
#include <httplib.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collector/collector.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/graphics/image_coding.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/text_field.h"
#include "platform/ui/window.h"
#include "store/events/payloads.h"
#include "svr/recording/screen_recording_lofi_mode.h"
#include "upload/events_request.h"
#include "upload/upload_parser.h"

namespace {

namespace fs = std::filesystem;
using obx::Json;
using obx::platform::Rect;

constexpr double kWidth = 390;
constexpr double kHeight = 844;
constexpr const char* kAccount = "replay-account";
constexpr const char* kProperty = "replay-property";
constexpr const char* kRawSessionID = "7C9E6679-7425-40DE-944B-E07FC1F90AE742";
constexpr const char* kLeadID = "0D2F2C1B5E554A8C9C553A8B1F0C7E2142";
// Two markers far apart, so that the test finds where the frame is and its scale on the page.
const Rect kMarkers[] = {Rect::make(300, 40, 64, 64), Rect::make(20, 760, 64, 64)};

struct FramePlan {
  std::int64_t offset;
  int red, green, blue;  // the marker's colour on this frame, 0 to 255
};

struct TouchPlan {
  std::int64_t offset;
  const char* type;
  std::int64_t x, y;
};

struct ScreenPlan {
  std::string name;
  std::string cScreenID;
  std::vector<FramePlan> frames;
  std::vector<TouchPlan> touches;
  std::int64_t batchEnd;
};

class Publisher : public obx::SVRImagePublisher {
 public:
  void publishImage(std::optional<obx::ImageToParse> image) override {
    if (image) images.push_back(std::move(*image));
  }
  std::vector<obx::ImageToParse> images;
};

std::string event(const char* type, std::int64_t offset, Json data) {
  return Json{{"t", type}, {"o", offset}, {"d", std::move(data)}}.dump();
}

std::shared_ptr<obx::platform::TextField> field(Rect frame, const std::string& text, bool secure) {
  auto view = std::make_shared<obx::platform::TextField>(frame);
  view->setText(text);
  view->setSecureTextEntry(secure);
  return view;
}

Json rectJSON(Rect rect) { return Json::array({rect.minX(), rect.minY(), rect.size.width, rect.size.height}); }

// Puts the screen's views in the window and records each frame of the plan, the marker recoloured
// each time. Returns the masked rectangles of the screen.
std::vector<Rect> buildScreen(std::size_t number, obx::platform::Window& window, obx::ScreenRecordingLOFIMode& recorder,
                              obx::platform::ManualScheduler& scheduler, const obx::Common& common,
                              const ScreenPlan& plan) {
  for (auto view : std::vector<std::shared_ptr<obx::platform::View>>(window.subviews())) view->removeFromSuperview();
  window.addSubview(std::make_shared<obx::platform::Label>(Rect::make(24, 56, 260, 40), plan.name));
  std::vector<Rect> masked;
  if (number == 0) {
    masked = {Rect::make(24, 200, 342, 44), Rect::make(24, 280, 342, 44)};
    window.addSubview(field(masked[0], "ada@example.test", false));
    window.addSubview(field(masked[1], "correct horse battery staple", true));
    window.addSubview(std::make_shared<obx::platform::Button>(Rect::make(24, 380, 342, 50), "Continue"));
  } else {
    masked = {Rect::make(24, 200, 342, 44)};
    window.addSubview(field(masked[0], "4111 1111 1111 1111", true));
    window.addSubview(std::make_shared<obx::platform::Label>(Rect::make(24, 270, 342, 30), "Expires 12/29"));
  }
  std::vector<std::shared_ptr<obx::platform::View>> markers;
  for (const Rect& rect : kMarkers) {
    markers.push_back(std::make_shared<obx::platform::View>(rect));
    window.addSubview(markers.back());
  }

  obx::ViewContext screen{plan.cScreenID, 0, plan.name, {kWidth, kHeight}};
  recorder.setBatchContext(obx::BatchContext{plan.cScreenID + "_20250301101500", screen});
  recorder.setImagesTaken(0);
  // A screen without masks of its own gets the configuration's, as the replay core starts it.
  recorder.setConfigurationMask(common.maskingAutomatic);
  for (std::size_t i = 0; i < plan.frames.size(); ++i) {
    const FramePlan& frame = plan.frames[i];
    for (auto& marker : markers) {
      marker->setBackgroundColor(obx::platform::Color{frame.red / 255.0, frame.green / 255.0, frame.blue / 255.0, 1});
    }
    recorder.setIndex(static_cast<std::int64_t>(i));
    recorder.setNeedNewImage(true);
    recorder.recordScreen(kWidth, kHeight, {});
    scheduler.runUntilIdle();
  }
  return masked;
}

int writePixels(const fs::path& png, const fs::path& ppm) {
  std::ifstream in(png, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  auto bitmap = obx::platform::decodePNG(bytes.str());
  if (!bitmap) {
    std::fprintf(stderr, "obx_replay_session_writer: %s is no PNG\n", png.c_str());
    return 1;
  }
  std::string out = "P6\n" + std::to_string(bitmap->width()) + " " + std::to_string(bitmap->height()) + "\n255\n";
  out.reserve(out.size() + 3 * static_cast<std::size_t>(bitmap->width()) * bitmap->height());
  for (int y = 0; y < bitmap->height(); ++y) {
    for (int x = 0; x < bitmap->width(); ++x) {
      const obx::platform::Pixel pixel = bitmap->pixelAt(x, y);
      out += static_cast<char>(pixel.red);
      out += static_cast<char>(pixel.green);
      out += static_cast<char>(pixel.blue);
    }
  }
  std::ofstream(ppm, std::ios::binary) << out;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--pixels") return writePixels(argv[2], argv[3]);
  if (argc != 2) {
    std::fprintf(stderr, "usage: obx_replay_session_writer <folder>\n");
    return 2;
  }
  const fs::path root = argv[1];
  fs::remove_all(root);

  auto scheduler = obx::platform::ManualScheduler::make();
  auto application = obx::platform::Application::resetShared(scheduler);
  auto configuration = std::make_shared<obx::SVRConfiguration>(nullptr, nullptr);
  const obx::Common common;  // the default masks (inputs, web views) and the default mask colour
  configuration->setCommon(common);
  obx::BitmapCache cache;
  auto recorder = obx::ScreenRecordingLOFIMode::make(configuration, scheduler, &cache);
  auto publisher = std::make_shared<Publisher>();
  recorder->setImagePublisher(publisher);
  auto window = std::make_shared<obx::platform::Window>(Rect::make(0, 0, kWidth, kHeight));
  window->setBackgroundColor(obx::platform::Color{1, 1, 1, 1});
  window->makeKeyAndVisible();

  obx::collector::Collector::Options options;
  options.dataDirectory = root;
  options.accounts = {kAccount};
  options.log = [](const std::string& line) { std::fprintf(stderr, "collector: %s\n", line.c_str()); };
  obx::collector::Collector collector(options);
  if (!collector.start()) {
    std::fprintf(stderr, "obx_replay_session_writer: the collector did not start\n");
    return 1;
  }
  obx::Configuration sdk(kAccount, kProperty, obx::Consent::analyticsAndRecording, false, true, false, false, false);
  sdk.endpoint = obx::Endpoint::custom(collector.baseURL(), collector.baseURL() + "/replay/");
  auto sdkConfiguration = std::make_shared<obx::SDKConfiguration>(sdk, obx::Platform::native(), scheduler);
  obx::UploadParser parser(std::make_shared<obx::UploaderConfiguration>(sdkConfiguration), root / ".spool", scheduler);

  const std::vector<ScreenPlan> plans = {
      {"Sign in", "5f4dcc3b5aa765d61d8327deb882cf99",
       {{0, 30, 170, 60}, {400, 245, 150, 20}, {900, 20, 160, 170}},
       {{1000, "tB", 195, 600}, {1100, "tE", 195, 600}},
       1500},
      {"Card details", "e99a18c428cb38d5f260853678922e03",
       {{20, 240, 200, 25}, {700, 200, 25, 180}},
       {{800, "tB", 100, 520}},
       1600},
  };

  Json manifest = Json::object();
  manifest["screenWidth"] = kWidth;
  manifest["screenHeight"] = kHeight;
  manifest["markers"] = Json::array({rectJSON(kMarkers[0]), rectJSON(kMarkers[1])});
  const obx::Color mask = common.maskingColor;
  manifest["maskColor"] = Json::array({static_cast<int>(mask.red * 255 + 0.5), static_cast<int>(mask.green * 255 + 0.5),
                                       static_cast<int>(mask.blue * 255 + 0.5)});
  manifest["screens"] = Json::array();
  std::string sessionID;

  for (std::size_t n = 0; n < plans.size(); ++n) {
    const ScreenPlan& plan = plans[n];
    publisher->images.clear();
    const std::vector<Rect> masked = buildScreen(n, *window, *recorder, *scheduler, common, plan);
    if (publisher->images.size() != plan.frames.size()) {
      std::fprintf(stderr, "obx_replay_session_writer: %zu frames drawn for %zu asked on \"%s\"\n",
                   publisher->images.size(), plan.frames.size(), plan.name.c_str());
      return 1;
    }

    obx::ScreenToSend screen;
    screen.id = plan.cScreenID + "_20250301101500";
    screen.batchesName = {screen.id};
    obx::AppMiscellaneous app;
    app.appLaunches = 1;
    app.appVersionNumber = "1.0.0";
    app.version = "0.1.0";
    app.connectivity = "wifi";
    app.systemType = "Linux";
    app.deviceType = "phone";
    app.deviceName = "test";
    app.osVersion = "1";
    app.screenSize = "390x844";
    screen.events = {
        event("session", 0, {{"sessionID", kRawSessionID}, {"leadID", kLeadID}}),
        event("batch", 0, {{"cScreenID", plan.cScreenID}, {"startTime", 1740824100.0 + 10.0 * n}}),
        event("screen", 0, {{"sN", plan.name}, {"sI", n + 1}, {"sT", 0}, {"o", "portrait"}}),
        event("aM", 1, Json(app)),
    };
    std::vector<obx::Image> images;
    for (std::size_t i = 0; i < plan.frames.size(); ++i) {
      const auto& bytes = publisher->images[i].data;
      const std::int64_t timestamp = 1740824100000 + 10000 * static_cast<std::int64_t>(n) + plan.frames[i].offset;
      screen.events.push_back(event("image", plan.frames[i].offset,
                                    {{"index", i}, {"name", std::to_string(i)}, {"width", kWidth},
                                     {"height", kHeight}, {"timestamp", timestamp}}));
      images.push_back(obx::Image{static_cast<std::int64_t>(i), std::string(bytes.begin(), bytes.end()), timestamp});
    }
    for (const TouchPlan& touch : plan.touches) {
      screen.events.push_back(event(touch.type, touch.offset, Json::array({{{"x", touch.x}, {"y", touch.y}}})));
    }
    screen.events.push_back(event("aE", plan.batchEnd - 5, ""));
    screen.events.push_back(event("bE", plan.batchEnd, ""));
    screen.images = std::move(images);

    auto upload = parser.parse(screen);
    if (!upload) {
      std::fprintf(stderr, "obx_replay_session_writer: the upload parser refused \"%s\"\n", plan.name.c_str());
      return 1;
    }
    obx::EventsRequest request;
    request.property = kProperty;
    request.cScreenID = upload->cScreenID;
    request.sessionID = upload->sessionID;
    request.leadID = upload->leadID;
    request.fileName = upload->id + ".zip";
    request.data = upload->zip;
    auto requests = obx::makeEventsRequests(request, sdkConfiguration->common());
    const std::string url = requests.empty() ? std::string() : requests[0].url.absoluteString();
    httplib::Client client(collector.baseURL());
    auto answer = client.Post(url.substr(collector.baseURL().size()).c_str(),
                              std::string(upload->zip.begin(), upload->zip.end()), "application/octet-stream");
    if (!answer || answer->status != 200) {
      std::fprintf(stderr, "obx_replay_session_writer: the collector did not take \"%s\"\n", plan.name.c_str());
      return 1;
    }
    sessionID = upload->sessionID;

    const auto stored = collector.screens();
    const std::string folder = stored.back().folder.filename().string();
    Json frames = Json::array();
    for (std::size_t i = 0; i < plan.frames.size(); ++i) {
      const FramePlan& frame = plan.frames[i];
      frames.push_back({{"src", folder + "/" + std::to_string(i) + ".jpg"},
                        {"offset", frame.offset},
                        {"marker", Json::array({frame.red, frame.green, frame.blue})}});
    }
    Json touches = Json::array();
    for (const TouchPlan& touch : plan.touches) {
      std::size_t shown = 0;
      for (std::size_t i = 0; i < plan.frames.size(); ++i) {
        if (plan.frames[i].offset <= touch.offset) shown = i;
      }
      touches.push_back({{"o", touch.offset}, {"t", touch.type}, {"x", touch.x}, {"y", touch.y}, {"frame", shown}});
    }
    Json maskedJSON = Json::array();
    for (const Rect& rect : masked) maskedJSON.push_back(rectJSON(rect));
    manifest["screens"].push_back({{"name", plan.name},
                                   {"frames", frames},
                                   {"touches", touches},
                                   {"masked", maskedJSON},
                                   {"end", plan.batchEnd}});
  }
  collector.stop();
  fs::remove_all(root / ".spool");

  manifest["session"] = sessionID;
  manifest["page"] = (root / sessionID / "index.html").string();
  std::printf("%s\n", manifest.dump(2).c_str());
  return 0;
}
