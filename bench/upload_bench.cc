// Upload parse: one stored screen of 200 events and 20 images of 30 KB (noise, so deflate can't
// shrink them away) turned into its encrypted ZIP by UploadParser::parse. The archive kept for
// retries is removed before each iteration so every parse builds it afresh. Reports milliseconds
// per parse (wall time: the parse writes and reads files), the archive's size, and the process's
// peak resident memory (VmHWM, reset before the passes) against the resident size before them.
// Beside the parse, from the same run, its two references: reading every block once (one JSON
// parse and one typed decoding each, the least any parse must do) and the archive alone (the body
// and the images enciphered and zipped, as the parse does it), each the median of 15 passes.
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/files/sandbox.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "upload/upload_body.h"
#include "upload/upload_parser.h"
#include "upload/upload_zip.h"

namespace {

constexpr int kEvents = 200;
constexpr int kImages = 20;
constexpr std::size_t kImageBytes = 30 * 1024;

// A "Vm..." line of /proc/self/status, in KiB.
double statusKiB(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field + ":", 0) == 0) return std::stod(line.substr(field.size() + 1));
  }
  return 0;
}

// Starts a new peak: VmHWM drops to the current resident size (Linux 4.0 and later).
void resetPeakResident() { std::ofstream("/proc/self/clear_refs") << "5"; }

struct StoredScreen {
  StoredScreen() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obx-upload-bench-XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    obx::platform::setSandboxRoot(root);
    queue = obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
    configuration = std::make_shared<obx::SDKConfiguration>(
        obx::Configuration("ACC98765", "PROP1234", obx::Consent::analyticsAndRecording, false, true, false, false, false),
        obx::Platform{}, scheduler);
    repository = std::make_shared<obx::Repository>(
        configuration, obx::FileStorage::make(queue, std::make_shared<obx::Security>()), nullptr, 1e6, scheduler);
    controller = std::make_unique<obx::DataController>(repository);
    storeRoot = obx::platform::applicationSupportDirectory() / "obx.ombrix";
    parser = std::make_unique<obx::UploadParser>(std::make_shared<obx::UploaderConfiguration>(configuration),
                                                 storeRoot, scheduler);
    write();
    screen = controller->screenToSend(obx::ScreenBatches{"5E5A7C1D", {batchID}, 0});
  }
  ~StoredScreen() {
    parser.reset();
    controller.reset();
    std::error_code error;
    std::filesystem::remove_all(root, error);
  }

  void write() {
    obx::BatchContext batch;
    batch.id = batchID;
    batch.viewContext.dateScreen = scheduler->now();
    const double start = batch.viewContext.dateScreen;
    auto at = [&](int i) { return start + i * 0.025; };
    controller->saveEventNow(obx::EventType::session, start,
                             obx::Session{"0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0|1767225600", "LEAD-0123456789"}, batch);
    controller->saveEventNow(obx::EventType::batch, start, obx::Batch{"5E5A7C1D", start}, batch);
    controller->saveEventNow(obx::EventType::screen, start, obx::Screen{"Checkout/Payment", 3, 0, "portrait"}, batch);
    std::mt19937 noise(7);
    int written = 3;
    for (int i = 0; i < kImages; ++i, ++written) {
      controller->saveEventNow(obx::EventType::image, at(written),
                               obx::ImageEvent{i, "image" + std::to_string(i), 390, 844, 1767225600000 + i * 250},
                               batch);
      std::string bytes(kImageBytes, '\0');
      for (auto& byte : bytes) byte = static_cast<char>(noise());
      controller->saveImage(obx::Image{i, std::move(bytes), 1767225600000 + i * 250}, batch);
    }
    for (; written < kEvents - 2; ++written) {
      switch (written % 3) {
        case 0:
          controller->saveEventNow(obx::EventType::touchBegan, at(written),
                                   std::vector<obx::Touch>{obx::Touch{120, 640, 0, 310, std::nullopt, 3, std::nullopt}},
                                   batch);
          break;
        case 1:
          controller->saveEventNow(obx::EventType::network, at(written),
                                   obx::Network{"api.example.com/v2/cart", "id=42&currency=EUR", "POST", 200,
                                                1767225600123, 84, 512, 2048, "", false},
                                   batch);
          break;
        default:
          controller->saveEventNow(obx::EventType::performance, at(written),
                                   obx::Performance{12.5, 312.25, 0.8, 8, 7812.5, std::string("cpu")}, batch);
      }
    }
    controller->saveEventNow(obx::EventType::applicationEnd, at(written++), std::string("end"), batch);
    controller->saveEventNow(obx::EventType::batchEnd, at(written++), batchID, batch);
    scheduler->runUntilIdle();
  }

  const std::string batchID = "5E5A7C1D_20260101000000";
  std::filesystem::path root;
  std::filesystem::path storeRoot;
  std::shared_ptr<obx::platform::ManualScheduler> scheduler = obx::platform::ManualScheduler::make();
  std::shared_ptr<obx::platform::DispatchQueue> queue;
  std::shared_ptr<obx::SDKConfiguration> configuration;
  std::shared_ptr<obx::Repository> repository;
  std::unique_ptr<obx::DataController> controller;
  std::unique_ptr<obx::UploadParser> parser;
  obx::ScreenToSend screen;
};

template <typename Body>
double medianMilliseconds(Body body) {
  std::vector<double> passes;
  for (int i = 0; i < 15; ++i) {
    const auto start = std::chrono::steady_clock::now();
    body();
    passes.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(passes.begin(), passes.end());
  return passes[passes.size() / 2];
}

void BM_ParseAndZipScreen(benchmark::State& state) {
  StoredScreen stored;
  const auto archive = stored.storeRoot / stored.batchID / "zip" / (stored.batchID + ".zip");
  std::filesystem::remove(archive);
  (void)stored.parser->parse(stored.screen);  // warm the allocator and the page cache
  resetPeakResident();
  const double residentBefore = statusKiB("VmRSS");
  std::size_t archiveBytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(archive);
    state.ResumeTiming();
    auto parsed = stored.parser->parse(stored.screen);
    if (!parsed) {
      state.SkipWithError("parse gave nothing");
      break;
    }
    archiveBytes = parsed->zip.size();
    benchmark::DoNotOptimize(parsed);
  }
  const double peak = statusKiB("VmHWM");

  const std::vector<obx::Image> noImages;
  const auto& images = stored.screen.images ? *stored.screen.images : noImages;
  const auto body = obx::buildUploadBody(stored.screen.events, obx::UploadBodySettings{});
  const obx::Security security("0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0|1767225600", "LEAD-0123456789", "PROP1234",
                               "ACC98765");
  const auto zipFolder = stored.storeRoot / stored.batchID / "zip-reference";
  state.counters["read_once_ref_ms"] = medianMilliseconds([&] {
    for (const auto& block : stored.screen.events) benchmark::DoNotOptimize(obx::decodeAnyEvent(block));
  });
  state.counters["zip_alone_ref_ms"] = medianMilliseconds([&] {
    std::filesystem::remove_all(zipFolder);
    benchmark::DoNotOptimize(obx::buildUploadZip(zipFolder, stored.batchID, body.value_or(""), images, security));
  });
  state.counters["zip_KiB"] = static_cast<double>(archiveBytes) / 1024.0;
  state.counters["rss_before_MiB"] = residentBefore / 1024.0;
  state.counters["peak_rss_MiB"] = peak / 1024.0;
  state.counters["peak_over_before_MiB"] = (peak - residentBefore) / 1024.0;
  state.counters["events"] = static_cast<double>(stored.screen.events.size());
  state.counters["images"] = stored.screen.images ? static_cast<double>(stored.screen.images->size()) : 0.0;
}
BENCHMARK(BM_ParseAndZipScreen)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
