// Upload over loopback: screens of a spool (50 events and 4 images of 30 KB each) taken by the
// upload worker, parsed, zipped, enciphered, posted to an in-process collector on 127.0.0.1 that
// deciphers, checks and stores them, and deleted from the spool after the 200. The cycle runs every
// 10 ms here instead of 2 s, so the figure is the pipeline's capacity, not the default cadence
// (5 screens per 2-second cycle at most). Reports screens per second.
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "collector/collector.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "upload/upload_core.h"

namespace {

constexpr int kScreens = 20;
constexpr int kEvents = 50;
constexpr int kImages = 4;
constexpr std::size_t kImageBytes = 30 * 1024;

class AlwaysWifi final : public obx::ReachabilityObserving {
 public:
  void add(std::shared_ptr<obx::ReachabilityObserverValue>) override {}
  void remove(const std::shared_ptr<obx::ReachabilityObserverValue>&) override {}
  std::optional<obx::ReachabilityConnection> connection() const override { return obx::ReachabilityConnection::wifi; }
};

class NoBatch final : public obx::BatchCoordinatorObserving {
 public:
  void add(std::shared_ptr<obx::BatchObserverValue>) override {}
  void remove(const std::shared_ptr<obx::BatchObserverValue>&) override {}
  std::optional<obx::BatchContext> batchContext() const override { return std::nullopt; }
};

struct Loopback {
  Loopback() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obx-loopback-bench-XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    obx::platform::setSandboxRoot(root / "sandbox");
    obx::collector::Collector::Options options;
    options.dataDirectory = root / "collector";
    options.accounts = {"ACC98765"};
    options.keepScreensInMemory = false;
    options.log = [](const std::string&) {};
    collector = std::make_unique<obx::collector::Collector>(options);
    collector->start();

    obx::Configuration settings("ACC98765", "PROP1234", obx::Consent::analyticsAndRecording, false, true, false, false,
                                false);
    settings.endpoint = obx::Endpoint::custom(collector->baseURL(), collector->baseURL() + "/replay/");
    configuration = std::make_shared<obx::SDKConfiguration>(settings, obx::Platform{}, scheduler);
    configuration->editCommon([](obx::Common& common) {
      common.isLiveConfigFinished = true;
      common.sendBatchDelay = 0.01;
    });
    auto queue = obx::platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.read-write");
    repository = std::make_shared<obx::Repository>(
        configuration, obx::FileStorage::make(queue, std::make_shared<obx::Security>()), nullptr, 1e6, scheduler);
    controller = std::make_shared<obx::DataController>(repository);
    std::mt19937 random(7);
    for (int index = 0; index < kImages; ++index) {
      std::string bytes(kImageBytes, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random());
      images.push_back(std::move(bytes));
    }
  }
  ~Loopback() {
    collector->stop();
    std::error_code error;
    std::filesystem::remove_all(root, error);
  }

  // Writes the screens, dated a minute ago so that they are ready at once.
  void spool(int round) {
    const double date = scheduler->clock().now() - 60.0;
    for (int screen = 0; screen < kScreens; ++screen) {
      obx::BatchContext batch;
      batch.viewContext.screenID = "S" + std::to_string(round) + "x" + std::to_string(screen);
      batch.id = batch.viewContext.screenID + "_20260101000000";
      batch.viewContext.dateScreen = date;
      controller->saveEventNow(obx::EventType::session, date,
                               obx::Session{"0F8FAD5B-D9CB-469F-A165-70867728950E42", "7C9E6679742540DE944BE0"}, batch);
      controller->saveEventNow(obx::EventType::batch, date, obx::Batch{batch.viewContext.screenID, date}, batch);
      for (int event = 0; event < kEvents; ++event) {
        controller->saveEventNow(obx::EventType::goal, date + 0.01 * event, obx::Goal{"goal", "EUR", 1.0f}, batch);
      }
      controller->saveEventNow(obx::EventType::batchEnd, date + 1.0, batch.id, batch);
      for (int index = 0; index < kImages; ++index) {
        controller->saveEventNow(obx::EventType::image, date + 0.2 * index,
                                 obx::ImageEvent{index, "frame", 390, 844, 0}, batch);
        controller->saveImage(obx::Image{index, images[index], 0}, batch);
      }
    }
    // The image writes are queued; once they have landed, removing the date files makes the
    // folders count as 3 seconds old: ready at once.
    scheduler->runMainLoop([] { return false; }, 0.3);
    for (const auto& entry : std::filesystem::directory_iterator(repository->root().url)) {
      std::filesystem::remove(entry.path() / obx::Repository::kDateFileName);
    }
  }

  std::filesystem::path root;
  std::shared_ptr<obx::platform::RealScheduler> scheduler = std::make_shared<obx::platform::RealScheduler>();
  std::unique_ptr<obx::collector::Collector> collector;
  std::shared_ptr<obx::SDKConfiguration> configuration;
  std::shared_ptr<obx::Repository> repository;
  std::shared_ptr<obx::DataController> controller;
  std::vector<std::string> images;
};

void BM_ScreensUploadedOverLoopback(benchmark::State& state) {
  Loopback loopback;
  int round = 0;
  std::size_t expected = 0;
  for (auto _ : state) {
    state.PauseTiming();
    loopback.spool(round++);
    expected += kScreens;
    state.ResumeTiming();
    auto client = std::make_shared<obx::HTTPClient>(obx::HTTPClient::makeSession(loopback.scheduler));
    auto reachability = std::make_shared<AlwaysWifi>();
    auto retrying = std::make_shared<obx::HTTPRetrying>(client, reachability, loopback.scheduler);
    auto uploader =
        std::make_shared<obx::Uploader>(std::make_shared<obx::UploadAuthorized>(), retrying, loopback.configuration);
    auto core = std::make_unique<obx::UploadCore>(
        obx::UploadDependencies{std::make_shared<NoBatch>(), loopback.configuration, reachability},
        loopback.controller, uploader, loopback.scheduler);
    const bool done = loopback.collector->waitUntil(
        [expected](const obx::collector::Collector::Statistics& statistics) { return statistics.accepted >= expected; },
        120.0);
    if (!done) state.SkipWithError("the screens did not all arrive");
    state.PauseTiming();
    core.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(expected));
  state.counters["bytes_per_screen"] =
      static_cast<double>(loopback.collector->statistics().bytesReceived) / static_cast<double>(expected);
}
BENCHMARK(BM_ScreensUploadedOverLoopback)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace
