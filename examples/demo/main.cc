// obx-demo: a host application that runs a scripted journey with the SDK pointed at a local
// obx-collector. It starts the collector on 127.0.0.1 with a free port, serving a live configuration
// that masks the payment screen, runs the journey, waits until the SDK's spool is empty, prints what
// arrived (sessions, screens with their frames, events by type, images, bytes) with the path of the
// replay page, and exits non-zero if anything the SDK sent did not arrive, if the journey's own
// requests are not among it as "network" events, if replay never recorded, or if a recorded screen
// arrived without its frames or the masked screen without its placeholder.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <filesystem>
#include <mutex>
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

// The live configuration the demo's collector serves: replay in sample, the payment screen masked.
bool writeConfiguration(const fs::path& directory) {
  std::error_code error;
  fs::create_directories(directory / kAccount, error);
  std::ofstream out(directory / kAccount / (std::string(kProperty) + ".json"));
  out << R"({"replaySessFlags": 3, "dst_screenMasking": [")" << demo::kMaskedScreenName << "\"]}\n";
  return static_cast<bool>(out);
}

fs::path collectorExecutable(int argc, char** argv) {
  if (argc > 1) return argv[1];
  return OBX_COLLECTOR_PATH;
}

}  // namespace

int main(int argc, char** argv) {
  using obx::OBX;
  const fs::path sandbox = fs::temp_directory_path() / "obx-demo-sandbox";
  const fs::path received = fs::temp_directory_path() / "obx-demo-collector";
  const fs::path served = fs::temp_directory_path() / "obx-demo-config";
  fs::remove_all(sandbox);
  fs::remove_all(received);
  fs::remove_all(served);
  if (!writeConfiguration(served)) {
    std::fprintf(stderr, "obx-demo: cannot write the live configuration into %s\n", served.c_str());
    return 2;
  }
  obx::platform::setSandboxRoot(sandbox);
  obx::platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");

  demo::CollectorProcess collector(collectorExecutable(argc, argv), received, served, kAccount);
  if (collector.baseURL().empty()) {
    std::fprintf(stderr, "obx-demo: %s\n", collector.error().c_str());
    return 2;
  }
  std::printf("obx-demo: collector at %s, storing into %s\n", collector.baseURL().c_str(), received.c_str());

  SDKReport report;
  report.observe();
  obx::Configuration configuration(kAccount, kProperty, obx::Consent::analyticsAndRecording, true, true, false, true,
                                   true);
  configuration.endpoint = obx::Endpoint::custom(collector.baseURL(), collector.baseURL() + "/replay/");
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
  const demo::Summary summary = demo::readSummary(received);
  std::printf("obx-demo: SDK %s, session %s\n", OBX::sdkVersion().value_or("?").c_str(),
              OBX::sessionId().value_or("-").c_str());
  std::printf("%s", demo::describe(summary, demo::bytesReceived(collector.lines())).c_str());

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
