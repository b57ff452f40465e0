#include "qt/main_queue_driver.h"

#include <QCoreApplication>
#include <QEvent>

namespace obx::qt {

namespace {
QEvent::Type drainEventType() {
  static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
  return type;
}
}  // namespace

MainQueueDriver::MainQueueDriver(std::shared_ptr<platform::RealScheduler> scheduler, std::function<void()> beforeDrain)
    : scheduler_(std::move(scheduler)), beforeDrain_(std::move(beforeDrain)), wake_(std::make_shared<Wake>()) {
  wake_->receiver = this;
}

MainQueueDriver::~MainQueueDriver() {
  scheduler_->setMainWakeHandler({});
  std::lock_guard lock(wake_->mutex);
  wake_->receiver = nullptr;
}

void MainQueueDriver::start() {
  std::weak_ptr<Wake> weak = wake_;
  scheduler_->setMainWakeHandler([weak] {
    auto wake = weak.lock();
    if (!wake || wake->pending.exchange(true)) return;
    std::lock_guard lock(wake->mutex);
    // postEvent is thread-safe and takes ownership of the event.
    if (wake->receiver) QCoreApplication::postEvent(wake->receiver, new QEvent(drainEventType()));
  });
  // Work posted before the handler was set (everything since initialize) runs now.
  drain();
}

bool MainQueueDriver::event(QEvent* event) {
  if (event->type() != drainEventType()) return QObject::event(event);
  drain();
  return true;
}

void MainQueueDriver::drain() {
  // Cleared first: a block posted while this drain runs wakes the loop again.
  wake_->pending.store(false);
  ++drains_;
  if (beforeDrain_) beforeDrain_();
  scheduler_->drainMain();
}

}  // namespace obx::qt
