// The whole SDK on real threads inside the test's QApplication, optionally against an in-process
// collector on 127.0.0.1: a Core of its own made the shared one, a sandbox per test, and the SDK
// detached again at the end.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <QTest>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "collector/collector.h"
#include "core/core.h"
#include "obx/qt.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "testing/log_capture.h"
#include "testing/test_core.h"

namespace obx::qt {

class QtSDKTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static int counter = 0;
    root_ = std::filesystem::temp_directory_path() /
            ("obx-qt-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    std::filesystem::remove_all(root_);
    platform::setSandboxRoot(root_ / "sandbox");
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    reachability_->set(platform::Reachability::Connection::wifi);
    core_ = testing::makeCore(scheduler_, reachability_);
    Core::resetShared(core_);
  }

  void TearDown() override {
    OBXQt::detach();
    Core::resetShared(nullptr);
    core_.reset();
    scheduler_->runMainLoop([] { return false; }, 0.2);
    if (collector_) collector_->stop();
    platform::setDefaultScheduler(nullptr);
    std::filesystem::remove_all(root_);
  }

  // A collector serving `liveConfiguration` as the property's document.
  void startCollector(const std::string& liveConfiguration) {
    std::filesystem::create_directories(root_ / "config" / "acc");
    std::ofstream(root_ / "config" / "acc" / "prop.json") << liveConfiguration;
    collector::Collector::Options options;
    options.dataDirectory = root_ / "collector";
    options.configDirectory = root_ / "config";
    options.accounts = {"acc"};
    options.log = [](const std::string&) {};
    collector_ = std::make_unique<collector::Collector>(options);
    ASSERT_TRUE(collector_->start());
  }

  void initialize() {
    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
    const std::string base = collector_ ? collector_->baseURL() : "http://127.0.0.1:9";
    configuration.endpoint = Endpoint::custom(base, base + "/replay/");
    core_->initialize(configuration, Platform::native());
  }

  // Runs Qt's loop, and with it the SDK's main queue, until `done` or `seconds` pass.
  bool runUntil(const std::function<bool()>& done, double seconds) {
    return QTest::qWaitFor(done, static_cast<int>(seconds * 1000));
  }
  void run(double seconds) { QTest::qWait(static_cast<int>(seconds * 1000)); }

  // The application leaves for the background, which ends its screen, and the spool empties.
  bool sendEverything() {
    auto application = platform::Application::shared();
    application->resignActive();
    application->enterBackground();
    const auto spool = platform::applicationSupportDirectory() / "obx.ombrix";
    return runUntil(
        [&] {
          std::error_code error;
          for (const auto& entry : std::filesystem::directory_iterator(spool, error)) {
            if (entry.is_directory() && entry.path().filename().string().find('_') != std::string::npos) return false;
          }
          return true;
        },
        30.0);
  }

  std::shared_ptr<platform::RealScheduler> scheduler_ = std::make_shared<platform::RealScheduler>();
  std::shared_ptr<testing::FakeReachability> reachability_ = std::make_shared<testing::FakeReachability>();
  std::filesystem::path root_;
  std::unique_ptr<collector::Collector> collector_;
  std::shared_ptr<Core> core_;
  testing::LogCapture logs_;
};

}  // namespace obx::qt
