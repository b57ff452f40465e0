// MainQueueDriver: serves the SDK's main queue from Qt's event loop. Every block posted to the main
// queue wakes the loop with one posted event (one at a time: a wake while one waits posts nothing),
// and that event drains the ready blocks on the GUI thread. Nothing polls, so an idle application
// stays idle; the display link's ticks arrive the same way, from the scheduler's timer.
//
// GUI thread only, except the wake, which the scheduler calls from whichever thread posts.
#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/dispatch/real_scheduler.h"

namespace obx::qt {

class MainQueueDriver : public QObject {
 public:
  // `beforeDrain` runs on the GUI thread before each drain; the mirror brings itself up to date there,
  // so that the SDK's main-queue work reads the widgets as they stand.
  MainQueueDriver(std::shared_ptr<platform::RealScheduler> scheduler, std::function<void()> beforeDrain);
  // Stops the wakes; a wake already posted dies with this object.
  ~MainQueueDriver() override;

  // Takes over the main queue and runs what waits on it now.
  void start();
  // Drains run so far, for tests that check an idle loop stays idle.
  std::uint64_t drains() const { return drains_; }

 protected:
  bool event(QEvent* event) override;

 private:
  // Shared with the scheduler's handler, which may outlive this object by one call on another thread.
  struct Wake {
    std::mutex mutex;
    QObject* receiver = nullptr;
    std::atomic<bool> pending{false};
  };

  void drain();

  std::shared_ptr<platform::RealScheduler> scheduler_;
  std::function<void()> beforeDrain_;
  std::shared_ptr<Wake> wake_;
  std::uint64_t drains_ = 0;
};

}  // namespace obx::qt
