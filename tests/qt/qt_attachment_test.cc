#include <QLabel>
#include <QThread>
#include <atomic>

#include "qt_sdk_fixture.h"

namespace obx::qt {
namespace {

using QtAttachmentTest = QtSDKTest;

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

// Detaching while a screen is recorded ends it as leaving it would: with the application still in
// the foreground, the screen closes ("aE") and arrives on its own, with its frame.
TEST_F(QtAttachmentTest, DetachMidScreenEndsTheScreen) {
  startCollector(R"({"replaySessFlags": 3})");
  initialize();
  ASSERT_TRUE(runUntil([&] { return core_->configuration()->common().isLiveConfigFinished; }, 10.0));
  QLabel window("Your orders");
  window.setObjectName("Orders");
  window.resize(300, 200);
  window.show();
  ASSERT_TRUE(OBXQt::attach());
  run(1.0);
  OBXQt::detach();
  auto ended = [&] {
    for (const auto& screen : collector_->screens()) {
      bool orders = false;
      bool closed = false;
      for (const auto& event : screen.body) {
        orders = orders || (event.at("t") == "screen" && event.at("d").at("sN") == "Orders");
        closed = closed || event.at("t") == "aE";
      }
      if (orders && closed && !screen.images.empty()) return true;
    }
    return false;
  };
  EXPECT_TRUE(runUntil(ended, 20.0));
}

}  // namespace
}  // namespace obx::qt
