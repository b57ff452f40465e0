// A RUM core with its own touch, scroll and form capture over a window of the platform layer, under the
// manual scheduler. A test shows screens through a batch producer it drives by hand, touches and
// scrolls the window, and reads back what the core wrote into each batch of the store.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/notifier.h"
#include "lifecycle/observing.h"
#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/touch.h"
#include "platform/ui/touch_synthesizer.h"
#include "platform/ui/window.h"
#include "rum/rum_core.h"
#include "session/session_life_cycle_observing.h"
#include "session/tracked_events.h"
#include "store/data_controller.h"
#include "store/file_storage.h"
#include "store/files/security.h"
#include "store/repository.h"
#include "store/store_test_support.h"
#include "testing/log_capture.h"

namespace obx::testing {

class HandBatches : public BatchCoordinatorObserving {
 public:
  explicit HandBatches(std::shared_ptr<platform::Scheduler> scheduler)
      : notifier_(std::move(scheduler), std::nullopt, "BatchContext") {}
  void add(std::shared_ptr<BatchObserverValue> observer) override { notifier_.observe(std::move(observer)); }
  void remove(const std::shared_ptr<BatchObserverValue>& observer) override { notifier_.remove(observer); }
  std::optional<BatchContext> batchContext() const override { return current_; }
  void publish(std::optional<BatchContext> batch) {
    current_ = batch;
    notifier_.notify(std::move(batch));
  }

 private:
  Notifier<std::optional<BatchContext>> notifier_;
  std::optional<BatchContext> current_;
};

class OneSession : public SessionLifeCycleObserving {
 public:
  void add(std::shared_ptr<SessionObserverValue>) override {}
  void remove(const std::shared_ptr<SessionObserverValue>&) override {}
  std::optional<SessionContext> sessionContext() const override {
    return SessionContext{"SESSION-1|x", "LEAD1", std::nullopt};
  }
};

class RUMCaptureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<platform::Window>();
    window_->makeKeyAndVisible();
  }

  void makeCore(const Platform& platform = Platform::native()) {
    configuration_ = std::make_shared<SDKConfiguration>(
        Configuration("account", "property", Consent::analyticsAndRecording, false, true, false, false, false), platform,
        scheduler_);
    repository_ = std::make_shared<Repository>(configuration_, FileStorage::make(readWrite_, std::make_shared<Security>()),
                                               nullptr, 16384.0, scheduler_);
    RUMDependencies dependencies;
    dependencies.configuration = configuration_;
    dependencies.sessions = std::make_shared<OneSession>();
    dependencies.batchCoordinator = batches_;
    dependencies.trackedEvents = trackedEvents_;
    core_ = RUMCore::make(dependencies, std::make_shared<DataController>(repository_), scheduler_);
    scheduler_->runUntilIdle();
  }

  BatchContext showScreen(const std::string& name) {
    ViewContext context{"SCREEN" + std::to_string(++screens_), scheduler_->now(), name, {390, 844}, false, false};
    BatchContext batch{context.screenID + "_1", context};
    batches_->publish(batch);
    scheduler_->runUntilIdle();
    return batch;
  }

  std::vector<Json> events(const BatchContext& batch) {
    scheduler_->runUntilIdle();
    std::vector<Json> list;
    for (const std::string& block : repository_->events(batch.id)) list.push_back(Json::parse(block));
    return list;
  }
  // The payloads of the events of `type`, in file order.
  std::vector<Json> payloads(const BatchContext& batch, const std::string& type) {
    std::vector<Json> list;
    for (const Json& event : events(batch)) {
      if (event["t"] == type) list.push_back(event["d"]);
    }
    return list;
  }
  std::vector<std::string> types(const BatchContext& batch) {
    std::vector<std::string> list;
    for (const Json& event : events(batch)) list.push_back(event["t"].get<std::string>());
    return list;
  }

  // A touch event of `touches` as they are now, sent to the application at the clock's time.
  void send(const std::vector<std::shared_ptr<platform::Touch>>& touches) {
    for (const auto& touch : touches) touch->setTimestamp(scheduler_->now());
    synthesizer_.send(touches);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  TemporarySandbox sandbox_;
  LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<platform::DispatchQueue> readWrite_ =
      platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.read-write");
  std::shared_ptr<HandBatches> batches_ = std::make_shared<HandBatches>(scheduler_);
  std::shared_ptr<TrackedEvents> trackedEvents_ = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent"));
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<Repository> repository_;
  std::shared_ptr<RUMCore> core_;
  std::shared_ptr<platform::Window> window_;
  platform::TouchSynthesizer synthesizer_{application_, [this](double seconds) { scheduler_->advance(seconds); }};
  int screens_ = 0;
};

}  // namespace obx::testing
