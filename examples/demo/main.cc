// obx-demo: a host application that runs a scripted journey with the SDK pointed at a local
// obx-collector. It starts the collector on 127.0.0.1 with a free port, serving a live configuration
// that masks the payment screen and records the sign-in screen as a screenshot, runs the journey,
// waits until the SDK's spool is empty, prints what arrived (sessions, screens with their frames,
// events by type, images, bytes) with the path of the replay page, and exits non-zero if anything the
// SDK sent did not arrive, if the journey's own requests are not among it as "network" events, if
// replay never recorded, or if a recorded screen arrived without its frames or the masked screen
// without its placeholder.
//
// --sandbox DIR puts the application's folders in DIR (two runs can live side by side), --keep
// leaves what an earlier run left there so that this run resumes it, and --collector takes another
// obx-collector executable, or the base URL of one already running (the arrival checks are then the
// caller's: the demo only runs the journey and waits for its spool to empty).
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "base/logger.h"
#include "collector_process.h"
#include "journey.h"
#include "obx/facade.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "store/directory.h"
#include "summary.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kAccount = "demo-account";
constexpr const char* kProperty = "demo-property";
constexpr const char* kSentLine = "✅ - Finish send screen, proceed to delete directory with id ";
// Written by replay at the start of every screen it records.
constexpr const char* kRecordingLine = "OmbrixOBX start recording . . .";
constexpr double kDrainTimeout = 60.0;
// The journey's own requests: a catalog, a missing page, a failed download.
constexpr int kJourneyRequests = 3;

// Lets the SDK's queues and the main loop run for `seconds` of wall time.
void run(double seconds) { obx::platform::RealScheduler::shared()->runMainLoop([] { return false; }, seconds); }

// The batch folders left in the spool.
int batchFolders(const fs::path& spool) {
  int count = 0;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(spool, error)) {
    if (entry.is_directory() && entry.path().filename().string().find('_') != std::string::npos) ++count;
  }
  return count;
}

// What the SDK's log tells: the screens it reports as accepted by the server, and whether replay
// recorded any screen.
class SDKReport {
 public:
  void observe() {
    obx::Logger::setLineObserver([this](const std::string& line, obx::LogLevel) {
      if (line.find(kRecordingLine) != std::string::npos) recording_ = true;
      auto at = line.find(kSentLine);
      if (at == std::string::npos) return;
      std::lock_guard lock(mutex_);
      ids_.insert(line.substr(at + std::string(kSentLine).size()));
    });
  }
  std::size_t sentCount() const {
    std::lock_guard lock(mutex_);
    return ids_.size();
  }
  bool replayRunning() const { return recording_; }

 private:
  mutable std::mutex mutex_;
  std::set<std::string> ids_;
  std::atomic<bool> recording_{false};
};

// The live configuration the demo's collector serves: replay in sample, the payment screen masked, the
// sign-in screen recorded as a screenshot.
bool writeConfiguration(const fs::path& directory) {
  std::error_code error;
  fs::create_directories(directory / kAccount, error);
  std::ofstream out(directory / kAccount / (std::string(kProperty) + ".json"));
  out << R"({"replaySessFlags": 3, "dst_screenMasking": [")" << demo::kMaskedScreenName << R"("], "dst_forceHiFi": [")"
      << demo::kHiFiScreenName << "\"]}\n";
  return static_cast<bool>(out);
}

const char* kHelp = R"(Usage: obx-demo [options]

Runs a scripted journey with the SDK against a local obx-collector and checks what arrived.

Options:
  --sandbox DIR       the application's sandbox (default: <temp>/obx-demo-sandbox)
  --keep              keep what an earlier run left in the sandbox (its spool is sent by this run);
                      without it the sandbox and the collector's folder are wiped first
  --collector PATH    the obx-collector to start (default: the one built beside the demo), or
                      http://HOST:PORT of a collector already running, whose arrivals are then
                      not checked here
  -h, --help          show this text
)";

struct Arguments {
  fs::path sandbox = fs::temp_directory_path() / "obx-demo-sandbox";
  bool keep = false;
  std::string collector = OBX_COLLECTOR_PATH;
};

// The arguments, or nothing after printing the help (`exitCode` 0) or a usage error (2).
std::optional<Arguments> parseArguments(int argc, char** argv, int& exitCode) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "-h" || argument == "--help") {
      std::printf("%s", kHelp);
      exitCode = 0;
      return std::nullopt;
    }
    if (argument == "--keep") {
      arguments.keep = true;
      continue;
    }
    if ((argument == "--sandbox" || argument == "--collector") && i + 1 < argc) {
      if (argument == "--sandbox") {
        arguments.sandbox = argv[++i];
      } else {
        arguments.collector = argv[++i];
      }
      continue;
    }
    // The collector's path as a lone argument, as earlier versions took it.
    if (i == 1 && argc == 2 && argument.rfind("-", 0) != 0) {
      arguments.collector = argument;
      continue;
    }
    std::fprintf(stderr, "obx-demo: unknown option or missing value: %s\nTry obx-demo --help.\n", argument.c_str());
    exitCode = 2;
    return std::nullopt;
  }
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  using obx::OBX;
  int exitCode = 0;
  const auto arguments = parseArguments(argc, argv, exitCode);
  if (!arguments) return exitCode;
  const fs::path sandbox = arguments->sandbox;
  const fs::path received = sandbox.parent_path() / (sandbox.filename().string() + "-collector");
  const fs::path served = sandbox.parent_path() / (sandbox.filename().string() + "-config");
  const bool external = arguments->collector.rfind("http://", 0) == 0;
  if (!arguments->keep) {
    fs::remove_all(sandbox);
    if (!external) fs::remove_all(received);
  }
  if (!external) {
    fs::remove_all(served);
    if (!writeConfiguration(served)) {
      std::fprintf(stderr, "obx-demo: cannot write the live configuration into %s\n", served.c_str());
      return 2;
    }
  }
  obx::platform::setSandboxRoot(sandbox);
  obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");

  std::optional<demo::CollectorProcess> collector;
  std::string baseURL = arguments->collector;
  if (!external) {
    collector.emplace(arguments->collector, received, served, kAccount);
    if (collector->baseURL().empty()) {
      std::fprintf(stderr, "obx-demo: %s\n", collector->error().c_str());
      return 2;
    }
    baseURL = collector->baseURL();
    std::printf("obx-demo: collector at %s, storing into %s\n", baseURL.c_str(), received.c_str());
  } else {
    std::printf("obx-demo: collector at %s\n", baseURL.c_str());
  }

  SDKReport report;
  report.observe();
  obx::Configuration configuration(kAccount, kProperty, obx::Consent::analyticsAndRecording, true, true, false, true,
                                   true);
  configuration.endpoint = obx::Endpoint::custom(baseURL, baseURL + "/replay/");
  OBX::sendGoal("opened before start");
  OBX::initialize(configuration);
  demo::runJourney(run);

  const fs::path spool = obx::platform::applicationSupportDirectory() / obx::Directory::kRootPath;
  double waited = 0;
  while (batchFolders(spool) > 0 && waited < kDrainTimeout) {
    run(0.5);
    waited += 0.5;
  }
  const int left = batchFolders(spool);
  if (external) {
    std::printf("obx-demo: the SDK sent %zu screens; %d batch folders left in the spool\n", report.sentCount(), left);
    obx::Logger::setLineObserver({});
    return left > 0 ? 1 : 0;
  }
  const demo::Summary summary = demo::readSummary(received);
  std::printf("obx-demo: SDK %s, session %s\n", OBX::sdkVersion().value_or("?").c_str(),
              OBX::sessionId().value_or("-").c_str());
  std::printf("%s", demo::describe(summary, demo::bytesReceived(collector->lines())).c_str());

  bool ok = true;
  if (left > 0) {
    std::printf("obx-demo: %d batch folders were still in the spool after %.0f s\n", left, kDrainTimeout);
    ok = false;
  }
  if (report.sentCount() == 0 || static_cast<std::size_t>(summary.screens) != report.sentCount()) {
    std::printf("obx-demo: the SDK sent %zu screens, the collector stored %d\n", report.sentCount(), summary.screens);
    ok = false;
  }
  // The demo's live configuration keeps replay in sample and the consent allows recording: every
  // screen must arrive with its frames.
  if (!report.replayRunning()) {
    std::printf("obx-demo: replay never started recording (no \"%s\" in the SDK's log)\n", kRecordingLine);
    ok = false;
  }
  for (const auto& fault : demo::screensWithoutFrames(summary)) {
    std::printf("obx-demo: a recorded screen arrived without its frames: %s\n", fault.c_str());
    ok = false;
  }
  std::set<std::string> masked;
  for (const auto& screen : summary.stored) {
    if (screen.name == demo::kMaskedScreenName) masked.insert(screen.cScreenID);
  }
  const bool placeholder = std::any_of(summary.stored.begin(), summary.stored.end(), [&](const demo::StoredScreen& s) {
    return masked.count(s.cScreenID) && s.placeholder && s.frames > 0;
  });
  if (!placeholder) {
    std::printf("obx-demo: %s, masked by the live configuration, arrived without its placeholder\n",
                demo::kMaskedScreenName);
    ok = false;
  }
  obx::Logger::setLineObserver({});
  std::printf("obx-demo: %s\n", ok ? "every screen arrived" : "FAILED");
  return ok ? 0 : 1;
}
