#include "qt/qt_attachment.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QLabel>
#include <QTest>
#include <QThread>
#include <atomic>
#include <filesystem>

#include "core/core.h"
#include "obx/qt.h"
#include "platform/dispatch/real_scheduler.h"
#include "platform/files/sandbox.h"
#include "platform/ui/application.h"
#include "testing/fake_reachability.h"
#include "testing/log_capture.h"

namespace obx::qt {
namespace {

class QtAttachmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = std::filesystem::temp_directory_path() / ("obx-qt-" + std::to_string(::getpid()));
    std::filesystem::remove_all(root_);
    platform::setSandboxRoot(root_);
    platform::setDefaultScheduler(scheduler_);
    platform::Application::resetShared(scheduler_);
    auto reachability = reachability_;
    core_ = Core::make(scheduler_, [reachability](std::shared_ptr<platform::Scheduler>) { return reachability; });
    Core::resetShared(core_);
  }
  void TearDown() override {
    OBXQt::detach();
    Core::resetShared(nullptr);
    core_.reset();
    scheduler_->runMainLoop([] { return false; }, 0.2);
    platform::setDefaultScheduler(nullptr);
    std::filesystem::remove_all(root_);
  }
  void initialize() {
    Configuration configuration("acc", "prop", Consent::analyticsAndRecording, false, true, false, false, false);
    configuration.endpoint = Endpoint::custom("http://127.0.0.1:9", "http://127.0.0.1:9/replay/");
    core_->initialize(configuration, Platform::native());
  }

  std::shared_ptr<platform::RealScheduler> scheduler_ = std::make_shared<platform::RealScheduler>();
  std::shared_ptr<testing::FakeReachability> reachability_ = std::make_shared<testing::FakeReachability>();
  std::filesystem::path root_;
  std::shared_ptr<Core> core_;
  testing::LogCapture logs_;
};

// Attaching is refused before initialize and off the GUI thread, each with its line; a second attach
// changes nothing and says so.
TEST_F(QtAttachmentTest, RefusalsAndSecondAttach) {
  EXPECT_FALSE(OBXQt::attach());
  EXPECT_TRUE(logs_.contains("OmbrixOBX Qt attach refused: call OBX::initialize first"));
  initialize();
  bool offThread = true;
  QThread* thread = QThread::create([&] { offThread = OBXQt::attach(); });
  thread->start();
  thread->wait();
  delete thread;
  EXPECT_FALSE(offThread);
  EXPECT_TRUE(logs_.contains("OmbrixOBX Qt attach refused: called off the GUI thread"));
  EXPECT_TRUE(OBXQt::attach());
  EXPECT_TRUE(OBXQt::attach());
  EXPECT_TRUE(logs_.contains("OmbrixOBX Qt is already attached"));
}

// Once attached, work posted to the main queue from any thread runs on the GUI thread from Qt's loop;
// a window shown is mirrored; detach removes the windows and the filter, so a window shown after it
// is not mirrored.
TEST_F(QtAttachmentTest, MainQueueRunsOnQtLoopAndDetachLeavesNothing) {
  initialize();
  ASSERT_TRUE(OBXQt::attach());
  std::atomic<bool> ran{false};
  std::atomic<bool> onGuiThread{false};
  QThread* poster = QThread::create([&] {
    scheduler_->mainQueue()->async([&] {
      onGuiThread = QThread::currentThread() == qApp->thread();
      ran = true;
    });
  });
  poster->start();
  poster->wait();
  delete poster;
  EXPECT_TRUE(QTest::qWaitFor([&] { return ran.load(); }, 5000));
  EXPECT_TRUE(onGuiThread);

  QLabel first("Welcome");
  first.resize(200, 100);
  first.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !platform::Application::shared()->windows().empty(); }, 5000));
  OBXQt::detach();
  EXPECT_FALSE(OBXQt::isAttached());
  EXPECT_TRUE(platform::Application::shared()->windows().empty());
  QLabel second("Later");
  second.show();
  QTest::qWait(50);
  EXPECT_TRUE(platform::Application::shared()->windows().empty());
  EXPECT_TRUE(logs_.contains("OmbrixOBX Qt detached from the application"));
}

}  // namespace
}  // namespace obx::qt
