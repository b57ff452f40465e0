// A RUM core with its own touch, scroll and form capture over a window of the platform layer, under the
// manual scheduler. A test shows screens through a batch producer it drives by hand, touches and
// scrolls the window, and reads back what the core wrote into each batch of the store.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/dispatch/manual_scheduler.h"
#include "platform/ui/application.h"
#include "platform/ui/touch.h"
#include "platform/ui/touch_synthesizer.h"
#include "platform/ui/window.h"
#include "rum/rum_core.h"
#include "session/tracked_events.h"
#include "testing/log_capture.h"
#include "testing/manual_producers.h"
#include "testing/spool.h"

namespace obx::testing {

class RUMCaptureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<platform::Window>();
    window_->makeKeyAndVisible();
  }

  void makeCore(const Platform& platform = Platform::native()) {
    spool_.reopen(Spool::Options().withPlatform(platform));
    RUMDependencies dependencies;
    dependencies.configuration = spool_.configuration();
    dependencies.sessions = std::make_shared<ManualSessions>(scheduler_);
    dependencies.batchCoordinator = batches_;
    dependencies.trackedEvents = trackedEvents_;
    core_ = RUMCore::make(dependencies, spool_.dataController(), scheduler_);
    scheduler_->runUntilIdle();
  }

  BatchContext showScreen(const std::string& name, bool discardTracking = false) {
    BatchContext batch = Spool::batch("SCREEN" + std::to_string(++screens_) + "_1", scheduler_->now(), name,
                                      discardTracking);
    batches_->publish(batch);
    scheduler_->runUntilIdle();
    return batch;
  }

  std::vector<Json> events(const BatchContext& batch) {
    scheduler_->runUntilIdle();
    return spool_.events(batch);
  }
  std::vector<Json> payloads(const BatchContext& batch, const std::string& type) {
    scheduler_->runUntilIdle();
    return spool_.payloads(batch, type);
  }
  std::vector<std::string> types(const BatchContext& batch) {
    scheduler_->runUntilIdle();
    return spool_.types(batch);
  }

  // A touch event of `touches` as they are now, sent to the application at the clock's time.
  void send(const std::vector<std::shared_ptr<platform::Touch>>& touches) {
    for (const auto& touch : touches) touch->setTimestamp(scheduler_->now());
    synthesizer_.send(touches);
    scheduler_->runUntilIdle();
  }

  std::shared_ptr<platform::ManualScheduler> scheduler_ = platform::ManualScheduler::make();
  Spool spool_{scheduler_};
  LogCapture logs_;
  std::shared_ptr<platform::Application> application_ = platform::Application::resetShared(scheduler_);
  std::shared_ptr<ManualBatches> batches_ = std::make_shared<ManualBatches>(scheduler_);
  std::shared_ptr<TrackedEvents> trackedEvents_ = std::make_shared<TrackedEvents>(
      std::make_shared<TrackedEvents::EventNotifier>(scheduler_, std::nullopt, "TrackedEvent"));
  std::shared_ptr<RUMCore> core_;
  std::shared_ptr<platform::Window> window_;
  platform::TouchSynthesizer synthesizer_{application_, [this](double seconds) { scheduler_->advance(seconds); }};
  int screens_ = 0;
};

}  // namespace obx::testing
