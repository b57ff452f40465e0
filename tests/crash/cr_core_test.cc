// CRCore on the manual scheduler: which batch a crash is written into, and that the write is on
// disk when the coordinator's call returns, with no queue run in between.
#include "crash/cr_core.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>

#include "crash/cr_feature.h"
#include "crash/cr_handle.h"
#include "platform/crash/crash_handlers.h"
#include "platform/dispatch/manual_scheduler.h"
#include "session/crash_coordinator.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "store/repository.h"
#include "store/store_test_support.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"

namespace obx {
namespace {

using testing::ManualBatches;

class CRCoreTest : public ::testing::Test {
 protected:
  CRCoreTest() {
    configuration_ = std::make_shared<SDKConfiguration>(
        Configuration("account", "property", Consent::analyticsAndRecording, true, true, false, false, false),
        Platform::native(), scheduler_);
    repository_ = std::make_shared<Repository>(
        configuration_, FileStorage::make(readWrite_, std::make_shared<Security>()), nullptr, 16384.0, scheduler_);
    dataController_ = std::make_shared<DataController>(repository_);
  }

  std::shared_ptr<CRFeature> makeFeature() {
    auto feature = CRFeature::make(CRDependencies{nullptr, batches_}, dataController_, scheduler_);
    scheduler_->runUntilIdle();
    return feature;
  }

  BatchContext batch(const std::string& screen, int number) {
    return BatchContext{screen + "_" + std::to_string(number),
                        ViewContext{screen, scheduler_->clock().now(), screen, {390, 844}, false, false}};
  }

  // The crash events of a batch as stored, read without running any queue.
  std::vector<Crash> storedCrashes(const BatchContext& batch) {
    std::vector<Crash> crashes;
    for (const std::string& block : repository_->events(batch.id)) {
      Json event = Json::parse(block);
      if (event["t"] == "crash") crashes.push_back(event["d"].get<Crash>());
    }
    return crashes;
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  testing::TemporarySandbox sandbox_;
  testing::LogCapture logs_;
  std::shared_ptr<platform::DispatchQueue> readWrite_ =
      platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write");
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<Repository> repository_;
  std::shared_ptr<DataController> dataController_;
  std::shared_ptr<ManualBatches> batches_ = std::make_shared<ManualBatches>(scheduler_);
};

const Crash kSegv{1767225600, "SIGSEGV", 11, {"0 host 0x1", "1 host 0x2"}};

// A crash is written on the calling thread into the batch that is current: the one already there
// at construction, then each batch that follows; none before a batch or after the last one ended.
TEST_F(CRCoreTest, CrashGoesIntoTheCurrentBatchOnTheCallingThread) {
  const BatchContext first = batch("A", 1);
  const BatchContext second = batch("B", 1);
  batches_->publish(first);
  scheduler_->runUntilIdle();
  auto feature = makeFeature();
  ASSERT_TRUE(feature);

  const struct {
    std::optional<BatchContext> published;
    const BatchContext* written;  // null: nothing is written
  } steps[] = {{std::nullopt, nullptr}, {first, &first}, {second, &second}, {std::nullopt, nullptr}};
  bool firstStep = true;
  for (const auto& step : steps) {
    // The first step is the batch that was current at construction.
    if (!firstStep) {
      batches_->publish(step.published);
      scheduler_->runUntilIdle();
    }
    const std::size_t before = storedCrashes(first).size() + storedCrashes(second).size();
    CrashCoordinator::shared().crashed(kSegv);
    const std::size_t after = storedCrashes(first).size() + storedCrashes(second).size();
    if (firstStep) {
      EXPECT_EQ(after, before + 1);
      EXPECT_EQ(storedCrashes(first).back(), kSegv);
    } else if (step.written) {
      EXPECT_EQ(after, before + 1) << step.written->id;
      EXPECT_EQ(storedCrashes(*step.written).back(), kSegv);
    } else {
      EXPECT_EQ(after, before);
    }
    firstStep = false;
  }
}

// With no batch ever, the crash is lost and nothing is created in the store.
TEST_F(CRCoreTest, CrashBeforeAnyBatchWritesNothing) {
  auto feature = makeFeature();
  CrashCoordinator::shared().crashed(kSegv);
  scheduler_->runUntilIdle();
  std::error_code error;
  EXPECT_TRUE(std::filesystem::is_empty(sandbox_.storeRoot(), error) || error);
}

// Unregistering the feature takes the core out of the coordinator and off the batches; the hooks
// stay installed for the life of the process.
TEST_F(CRCoreTest, TeardownLeavesTheCoordinatorAndTheBatches) {
  const std::size_t delegatesBefore = CrashCoordinator::shared().delegateCount();
  auto feature = makeFeature();
  EXPECT_EQ(CrashCoordinator::shared().delegateCount(), delegatesBefore + 1);
  EXPECT_EQ(batches_->observerCount(), 1u);
  EXPECT_TRUE(platform::CrashHandlers::installed());
  feature.reset();
  scheduler_->runUntilIdle();
  EXPECT_EQ(CrashCoordinator::shared().delegateCount(), delegatesBefore);
  EXPECT_EQ(batches_->observerCount(), 0u);
  EXPECT_TRUE(platform::CrashHandlers::installed());
  EXPECT_FALSE(platform::CrashHandlers::install([](const platform::CrashReport&) {}));
}

// A batch whose folder can't be made: the crash is lost with one log line at level developer.
TEST_F(CRCoreTest, DirectoryFailureIsLogged) {
  const BatchContext broken = batch("C", 1);
  // A file where the batch's folder would go.
  testing::writeBytes(sandbox_.storeRoot() / broken.id, "not a folder");
  batches_->publish(broken);
  scheduler_->runUntilIdle();
  auto feature = makeFeature();
  CrashCoordinator::shared().crashed(kSegv);
  bool logged = false;
  for (const auto& [message, level] : logs_.entries()) {
    if (message.starts_with("Error creating directory: ") && message.ends_with(".") && level == LogLevel::developer) {
      logged = true;
    }
  }
  EXPECT_TRUE(logged) << ::testing::PrintToString(logs_.messages());
}

// The signal names of the report, and the empty text for a signal that is not one of the eight.
TEST(CrashHandlers, SignalNames) {
  const struct {
    int signal;
    const char* name;
  } cases[] = {{SIGILL, "SIGILL"}, {SIGTRAP, "SIGTRAP"}, {SIGABRT, "SIGABRT"}, {SIGFPE, "SIGFPE"},
               {SIGBUS, "SIGBUS"}, {SIGSEGV, "SIGSEGV"}, {SIGSYS, "SIGSYS"},   {SIGPIPE, "SIGPIPE"},
               {SIGTERM, ""},      {0, ""}};
  for (const auto& c : cases) EXPECT_STREQ(platform::CrashHandlers::signalName(c.signal), c.name) << c.signal;
  EXPECT_EQ(platform::CrashHandlers::signals().size(), 8u);
}

}  // namespace
}  // namespace obx
