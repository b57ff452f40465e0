// Session replay through the whole SDK (Core with all its features, on the manual scheduler, replay
// in wireframes) for two journeys: the benchmark's own (a list that is scrolled, a detail form that
// is typed into, a settings page, back and forth: a screen every 6 s) and the demo application's
// (a screen every 2 s, with its live configuration). Three figures a user would quote:
//   - bytes of replay per minute: the JPEG bytes stored for upload per minute of the journey, the
//     frames per screen, and where the bytes go: each screen's first frame, frames that repeat the
//     screen's previous one byte for byte (no visible change), the others; bytes per kilopixel;
//   - CPU share of one core while a screen changes on every frame at 6 frames per second: the
//     process CPU time the SDK spends per second of that screen's life;
//   - steady memory added: resident memory after minutes of continuous capture, less the memory
//     before the SDK started.
// Each runs once over minutes of virtual time; the counters carry the figures. The memory figure
// is only true in a fresh process, where nothing of the SDK was loaded or drawn before: its
// benchmark runs first (and alone under --benchmark_filter=Continuous).
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/session_configuration.h"
#include "core/core.h"
#include "obx/view_properties.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/graphics/bitmap_context.h"
#include "platform/graphics/image_coding.h"
#include "platform/graphics/layer.h"
#include "platform/reachability/reachability.h"
#include "platform/ui/application.h"
#include "platform/ui/button.h"
#include "platform/ui/image_view.h"
#include "platform/ui/label.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/scroll_view.h"
#include "platform/ui/text_field.h"
#include "platform/ui/window.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "store/repository.h"
#ifdef OBX_BENCH_DEMO_JOURNEY
#include "journey.h"
#endif

namespace {

namespace fs = std::filesystem;
using obx::platform::Rect;

// No network: the upload worker stays idle, so the figures are replay's alone and every image
// stays in the spool to be counted.
class NoNetwork : public obx::platform::Reachability {
 public:
  Connection connection() override { return Connection::unavailable; }
  void setWhenReachable(Callback) override {}
  void setWhenUnreachable(Callback) override {}
  void startNotifier() override {}
  void stopNotifier() override {}
};

class ListScreen : public obx::platform::ViewController {};
class DetailScreen : public obx::platform::ViewController {};
class SettingsScreen : public obx::platform::ViewController {};

double processCPUSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Resident memory in MiB, from /proc/self/smaps_rollup (which walks the page tables, so unlike
// the counters of /proc/self/status it is exact at once): "Rss" in all, "Anonymous" for the
// process's own heap and stacks; the rest is pages of mapped files (libraries, fonts) that the
// kernel can drop and that other processes share.
double residentMiB(const std::string& field = "Rss") {
  std::ifstream rollup("/proc/self/smaps_rollup");
  std::string line;
  while (std::getline(rollup, line)) {
    if (line.rfind(field + ":", 0) == 0) return std::stod(line.substr(field.size() + 1)) / 1024.0;
  }
  return 0.0;
}

// The SDK started on a manual scheduler in a sandbox of its own, with a host window.
struct Host {
  Host() {
    root = fs::temp_directory_path() / ("obx-replay-core-bench-" + std::to_string(::getpid()));
    fs::remove_all(root);
    obx::platform::setSandboxRoot(root);
    obx::platform::setDefaultScheduler(scheduler);
    obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
  }
  ~Host() {
    core.reset();
    scheduler->runUntilIdle();
    obx::platform::setDefaultScheduler(nullptr);
    fs::remove_all(root);
  }

  // Starts the SDK with replay in wireframes and `liveDocument` as the server's answer.
  void start(const std::string& liveDocument = "{}") {
    core = obx::Core::make(scheduler, [](std::shared_ptr<obx::platform::Scheduler>) { return std::make_shared<NoNetwork>(); });
    obx::Configuration configuration("acc", "prop", obx::Consent::analyticsAndRecording, false, true, false, false, false);
    // No URL: nothing is uploaded, so every image stays in the spool to be counted.
    configuration.endpoint = obx::Endpoint::custom("not a url", "https://portal.test/replay/");
    configuration.sessionReplayMode = obx::SessionReplayMode::loFi;
    core->initialize(configuration, obx::Platform::native());
    scheduler->runUntilIdle();
    core->configuration()->updateLiveConfiguration(*obx::SessionConfiguration::decode(liveDocument));
    scheduler->runUntilIdle();
    window->makeKeyAndVisible();
  }

  // Advances virtual time in frames of 1/6 s, calling `eachFrame` before each.
  template <typename F>
  void run(double seconds, F&& eachFrame) {
    const int frames = static_cast<int>(seconds * 6.0 + 0.5);
    for (int i = 0; i < frames; ++i) {
      eachFrame(i);
      scheduler->advance(1.0 / 6.0);
    }
  }
  void run(double seconds) {
    run(seconds, [](int) {});
  }

  // Where the JPEG bytes of the spool go, screen by screen.
  struct ReplayBytes {
    std::size_t screens = 0, images = 0, bytes = 0;
    std::size_t firstBytes = 0;                // each screen's first frame
    std::size_t repeats = 0, repeatBytes = 0;  // frames equal to the screen's previous frame
    double kilopixels = 0;
  };
  ReplayBytes storedImages() {
    scheduler->runUntilIdle();
    auto queue = obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
    obx::Repository repository(core->configuration(), obx::FileStorage::make(queue, std::make_shared<obx::Security>()),
                               nullptr, 0.0, scheduler);
    // Batch names sort by screen ID, then by opening time: a screen's frames come in order.
    std::map<std::string, std::vector<obx::Image>> framesByScreen;
    std::vector<std::string> batches;
    for (const auto& entry : fs::directory_iterator(obx::platform::applicationSupportDirectory() / "obx.ombrix")) {
      const std::string name = entry.path().filename().string();
      if (entry.is_directory() && name.find('_') != std::string::npos) batches.push_back(name);
    }
    std::sort(batches.begin(), batches.end());
    for (const auto& name : batches) {
      auto& frames = framesByScreen[name.substr(0, name.find('_'))];
      for (auto& image : repository.images(name)) frames.push_back(std::move(image));
    }
    ReplayBytes result;
    for (const auto& [screen, frames] : framesByScreen) {
      if (frames.empty()) continue;
      ++result.screens;
      for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto& data = frames[i].data;
        if (const char* dump = std::getenv("OBX_BENCH_IMAGES")) {
          std::ofstream(fs::path(dump) / (screen + "-" + std::to_string(frames[i].index) + ".jpg"), std::ios::binary)
              .write(data.data(), static_cast<std::streamsize>(data.size()));
        }
        result.bytes += data.size();
        ++result.images;
        if (i == 0) result.firstBytes += data.size();
        if (i > 0 && data == frames[i - 1].data) {
          ++result.repeats;
          result.repeatBytes += data.size();
        }
        if (auto bitmap = obx::platform::decodeJPEG(data)) {
          result.kilopixels += static_cast<double>(bitmap->width()) * bitmap->height() / 1000.0;
        }
      }
    }
    return result;
  }

  // The counters of `bytes` stored over `minutes` of a journey.
  static void report(benchmark::State& state, const ReplayBytes& bytes, double minutes) {
    auto perMinute = [&](double value) { return value / minutes; };
    state.counters["KB_per_minute"] = perMinute(static_cast<double>(bytes.bytes) / 1000.0);
    state.counters["bytes_per_minute"] = perMinute(static_cast<double>(bytes.bytes));
    state.counters["images_per_minute"] = perMinute(static_cast<double>(bytes.images));
    state.counters["frames_per_screen"] = bytes.screens ? static_cast<double>(bytes.images) / bytes.screens : 0.0;
    state.counters["screens"] = static_cast<double>(bytes.screens);
    state.counters["first_frames_KB_per_minute"] = perMinute(static_cast<double>(bytes.firstBytes) / 1000.0);
    state.counters["repeated_frames_KB_per_minute"] = perMinute(static_cast<double>(bytes.repeatBytes) / 1000.0);
    state.counters["repeated_frames"] = static_cast<double>(bytes.repeats);
    state.counters["changed_frames_KB_per_minute"] =
        perMinute(static_cast<double>(bytes.bytes - bytes.firstBytes - bytes.repeatBytes) / 1000.0);
    state.counters["bytes_per_image"] = bytes.images ? static_cast<double>(bytes.bytes) / bytes.images : 0.0;
    state.counters["bytes_per_kilopixel"] = bytes.kilopixels > 0 ? static_cast<double>(bytes.bytes) / bytes.kilopixels : 0.0;
  }

  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::Application> application = obx::platform::Application::resetShared(scheduler);
  fs::path root;
  std::shared_ptr<obx::Core> core;
  std::shared_ptr<obx::platform::Window> window = std::make_shared<obx::platform::Window>();
};

std::shared_ptr<ListScreen> makeList(std::shared_ptr<obx::platform::ScrollView>& list) {
  auto screen = std::make_shared<ListScreen>();
  obx::setObxScreenName(*screen, "Orders");
  list = std::make_shared<obx::platform::ScrollView>(Rect::make(0, 88, 390, 756));
  list->setContentSize({390, 40 * 72});
  for (int row = 0; row < 40; ++row) {
    auto cell = std::make_shared<obx::platform::View>(Rect::make(0, row * 72, 390, 72));
    cell->setBackgroundColor(obx::platform::Color{0.97, 0.97, 0.98, 1});
    cell->addSubview(std::make_shared<obx::platform::ImageView>(
        Rect::make(12, 12, 48, 48), obx::platform::Image::make("avatar-" + std::to_string(row % 8), {48, 48})));
    cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 10, 240, 22), "Order #" + std::to_string(1000 + row)));
    cell->addSubview(std::make_shared<obx::platform::Label>(Rect::make(72, 36, 240, 20), "Delivered on Tuesday"));
    cell->addSubview(std::make_shared<obx::platform::Button>(Rect::make(300, 20, 80, 32), "Track"));
    list->addSubview(cell);
  }
  screen->view()->addSubview(list);
  return screen;
}

std::shared_ptr<DetailScreen> makeDetail(std::shared_ptr<obx::platform::TextField>& field) {
  auto screen = std::make_shared<DetailScreen>();
  obx::setObxScreenName(*screen, "Checkout");
  auto view = screen->view();
  view->addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 100, 350, 30), "Delivery address"));
  for (int i = 0; i < 3; ++i) {
    auto input = std::make_shared<obx::platform::TextField>(Rect::make(20, 140 + i * 56, 350, 44));
    input->setText(i == 0 ? "" : "12 Harbour Street");
    view->addSubview(input);
    if (i == 0) field = input;
  }
  view->addSubview(std::make_shared<obx::platform::Button>(Rect::make(20, 340, 350, 48), "Pay 42.00"));
  return screen;
}

std::shared_ptr<SettingsScreen> makeSettings() {
  auto screen = std::make_shared<SettingsScreen>();
  obx::setObxScreenName(*screen, "Settings");
  for (int i = 0; i < 8; ++i) {
    screen->view()->addSubview(
        std::make_shared<obx::platform::Label>(Rect::make(20, 100 + i * 48, 300, 30), "Setting " + std::to_string(i)));
  }
  return screen;
}

// Bytes of replay per minute for the benchmark's journey (five screens in 30 s), repeated for
// `state.range(0)` minutes of its time.
void BM_ReplayBytesPerMinuteOfJourney(benchmark::State& state) {
  const double minutes = static_cast<double>(state.range(0));
  Host::ReplayBytes bytes;
  for (auto _ : state) {
    Host host;
    host.start();
    std::shared_ptr<obx::platform::ScrollView> list;
    auto navigation = obx::platform::NavigationController::make(makeList(list));
    host.window->setRootViewController(navigation);
    double elapsed = 0;
    while (elapsed < minutes * 60.0) {
      // The list, scrolled a screen's height every 2 seconds.
      host.run(8.0, [&](int frame) {
        if (frame % 12 == 11) list->setContentOffset({0, std::fmod(list->contentOffset().y + 300.0, 2000.0)});
      });
      // The checkout form, typed into for 3 seconds, then read.
      std::shared_ptr<obx::platform::TextField> field;
      navigation->pushViewController(makeDetail(field), false);
      std::string typed;
      host.run(8.0, [&](int frame) {
        if (frame < 18 && frame % 2 == 0) field->setText(typed += "a");
      });
      navigation->popViewController(false);
      host.run(4.0);
      navigation->pushViewController(makeSettings(), false);
      host.run(6.0);
      navigation->popViewController(false);
      host.run(4.0);
      elapsed += 30.0;
    }
    bytes = host.storedImages();
  }
  Host::report(state, bytes, minutes);
}

#ifdef OBX_BENCH_DEMO_JOURNEY
// Bytes of replay per minute for the demo application's journey, on virtual time, with the demo's
// live configuration (the payment screen masked, the sign-in screen as a screenshot).
void BM_ReplayBytesPerMinuteOfDemoJourney(benchmark::State& state) {
  Host::ReplayBytes bytes;
  double seconds = 0;
  for (auto _ : state) {
    Host host;
    host.start(R"({"replaySessFlags": 3, "dst_screenMasking": [")" + std::string(demo::kMaskedScreenName) +
               R"("], "dst_forceHiFi": [")" + demo::kHiFiScreenName + "\"]}");
    obx::Core::resetShared(host.core);
    seconds = 0;
    demo::runJourney([&](double step) {
      seconds += step;
      host.run(step);
    });
    host.run(1.0);
    bytes = host.storedImages();
    obx::Core::resetShared(nullptr);
  }
  Host::report(state, bytes, seconds / 60.0);
}
BENCHMARK(BM_ReplayBytesPerMinuteOfDemoJourney)->Iterations(1)->Unit(benchmark::kSecond);
#endif


// A screen whose content changes on every frame: capture runs continuously at 6 frames per second.
// The process's CPU time per second of the screen's life is the share of one core; the resident
// memory is read before the SDK starts, after one minute and after the last.
void BM_ContinuousCapture6fps(benchmark::State& state) {
  const double seconds = static_cast<double>(state.range(0));
  double cpuShare = 0, added = 0, addedAfterOneMinute = 0, residentBefore = 0, startedSDK = 0, firstImage = 0;
  double anonAdded = 0, anonFirstImage = 0, anonAfterOneMinute = 0, anonStart = 0;
  std::size_t images = 0;
  for (auto _ : state) {
    Host host;
    // The host has drawn its own screens with the toolkit before: its font and drawing caches are
    // the application's, not the SDK's.
    {
      auto shown = std::make_shared<obx::platform::View>(Rect::make(0, 0, 390, 844));
      for (int i = 0; i < 12; ++i) {
        shown->addSubview(std::make_shared<obx::platform::Label>(Rect::make(20, 180 + i * 48, 350, 30),
                                                                 "Quote " + std::to_string(i)));
      }
      auto context = obx::platform::BitmapContext::make({390, 844}, true, 1.0);
      shown->layer()->renderInContext(*context);
    }
    const double before = residentMiB();
    const double anonBefore = residentMiB("Anonymous");
    residentBefore = before;
    host.start();
    startedSDK = residentMiB() - before;
    anonStart = residentMiB("Anonymous") - anonBefore;
    auto screen = std::make_shared<DetailScreen>();
    obx::setObxScreenName(*screen, "Live");
    auto clock = std::make_shared<obx::platform::Label>(Rect::make(20, 120, 350, 40), "");
    screen->view()->addSubview(clock);
    for (int i = 0; i < 12; ++i) {
      screen->view()->addSubview(
          std::make_shared<obx::platform::Label>(Rect::make(20, 180 + i * 48, 350, 30), "Quote " + std::to_string(i)));
    }
    host.window->setRootViewController(obx::platform::NavigationController::make(screen));
    host.scheduler->runUntilIdle();
    firstImage = residentMiB() - before;
    anonFirstImage = residentMiB("Anonymous") - anonBefore;
    host.run(5.0, [&](int frame) { clock->setText("Frame " + std::to_string(frame)); });
    const double cpuStart = processCPUSeconds();
    int frame = 0;
    host.run(60.0, [&](int) { clock->setText("Frame " + std::to_string(++frame)); });
    addedAfterOneMinute = residentMiB() - before;
    anonAfterOneMinute = residentMiB("Anonymous") - anonBefore;
    host.run(seconds - 60.0, [&](int) { clock->setText("Frame " + std::to_string(++frame)); });
    cpuShare = (processCPUSeconds() - cpuStart) / seconds;
    added = residentMiB() - before;
    anonAdded = residentMiB("Anonymous") - anonBefore;
    images = host.storedImages().images;
  }
  state.counters["cpu_share_of_one_core_pct"] = cpuShare * 100.0;
  state.counters["memory_added_MiB_after_1min"] = addedAfterOneMinute;
  state.counters["memory_added_MiB_at_end"] = added;
  state.counters["resident_MiB_before"] = residentBefore;
  state.counters["memory_added_MiB_by_start_alone"] = startedSDK;
  state.counters["memory_added_MiB_at_first_image"] = firstImage;
  state.counters["anonymous_MiB_added_by_start_alone"] = anonStart;
  state.counters["anonymous_MiB_added_at_first_image"] = anonFirstImage;
  state.counters["anonymous_MiB_added_after_1min"] = anonAfterOneMinute;
  state.counters["anonymous_MiB_added_at_end"] = anonAdded;
  state.counters["images"] = static_cast<double>(images);
}
BENCHMARK(BM_ContinuousCapture6fps)->Arg(180)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_ReplayBytesPerMinuteOfJourney)->Arg(3)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
