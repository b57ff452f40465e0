// The whole SDK on real threads against an in-process collector on 127.0.0.1: a Core built on a
// RealScheduler of its own, a connectivity monitor the test sets, and a sandbox per test.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../upload/upload_fixture.h"
#include "collector/collector.h"
#include "core/core.h"
#include "platform/bundle/bundle_info.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "testing/spool.h"
#include "testing/test_core.h"

namespace obx::e2e {

inline constexpr const char* kAccount = "acc";
inline constexpr const char* kProperty = "prop";

class EndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static int counter = 0;
    root_ = std::filesystem::temp_directory_path() /
            ("obx-e2e-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    std::filesystem::remove_all(root_);
    platform::setSandboxRoot(root_ / "sandbox");
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    platform::BundleInfo::main().setObject("CFBundleShortVersionString", "1.0.0");
    reachability_->set(platform::Reachability::Connection::wifi);
  }

  void TearDown() override {
    core_.reset();
    pump(0.2);
    if (collector_) collector_->stop();
    platform::setDefaultScheduler(nullptr);
    std::filesystem::remove_all(root_);
  }

  // Starts the collector; `configure` adjusts its options first.
  void startCollector(const std::function<void(collector::Collector::Options&)>& configure = {}) {
    collector::Collector::Options options;
    options.dataDirectory = root_ / "collector";
    options.accounts = {kAccount};
    options.log = [](const std::string&) {};
    if (configure) configure(options);
    collector_ = std::make_unique<collector::Collector>(options);
    ASSERT_TRUE(collector_->start());
  }

  Configuration configuration(bool mobileDataEnable = true) const {
    Configuration c(kAccount, kProperty, Consent::analyticsAndRecording, false, mobileDataEnable, false, false,
                    networkAnalytics_);
    const std::string base = serverURL_.empty() ? collector_->baseURL() : serverURL_;
    c.endpoint = Endpoint::custom(base, base + "/replay/");
    return c;
  }

  void startSDK(bool mobileDataEnable = true) {
    core_ = testing::makeCore(scheduler_, reachability_);
    core_->initialize(configuration(mobileDataEnable), Platform::native());
  }

  // Lends this thread to the main queue for `seconds`.
  void pump(double seconds) { scheduler_->runMainLoop([] { return false; }, seconds); }
  bool pumpUntil(const std::function<bool()>& done, double timeoutSeconds) {
    return scheduler_->runMainLoop(done, timeoutSeconds);
  }

  std::filesystem::path spool() const { return platform::applicationSupportDirectory() / "obx.ombrix"; }
  // The batch folders in the spool.
  std::vector<std::string> spooledBatches() const {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(spool(), error)) {
      const std::string name = entry.path().filename().string();
      if (entry.is_directory() && name.find('_') != std::string::npos) names.push_back(name);
    }
    return names;
  }

  // A store on the same spool, as a previous run of the application had it.
  std::shared_ptr<DataController> previousRunStore() {
    return testing::Spool::openStore(
        std::make_shared<SDKConfiguration>(this->configuration(), Platform::native(), scheduler_), scheduler_);
  }

  // Leaves screen `screenID` of two batches in the spool, as a killed run of the application did:
  // two goals, then one and the application's end.
  void leaveScreen(const std::string& screenID, double minutesAgo) {
    upload_testing::ScreenWriter writer(previousRunStore());
    const double start = scheduler_->clock().now() - 60.0 * minutesAgo;
    writer.write(screenID + "_20260101000000", start, 2, 0, false);
    writer.write(screenID + "_20260101000005", start + 5.0, 1, 0, true);
    pump(0.2);
  }

  std::shared_ptr<platform::RealScheduler> scheduler_ = std::make_shared<platform::RealScheduler>();
  std::shared_ptr<testing::FakeReachability> reachability_ = std::make_shared<testing::FakeReachability>();
  std::filesystem::path root_;
  std::unique_ptr<collector::Collector> collector_;
  std::shared_ptr<Core> core_;
  // Given to the SDK's Configuration by startSDK().
  bool networkAnalytics_ = false;
  // Where the SDK sends, when not to the collector.
  std::string serverURL_;
};

}  // namespace obx::e2e
