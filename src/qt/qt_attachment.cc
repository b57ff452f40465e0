#include "qt/qt_attachment.h"

#include <QApplication>
#include <QThread>

#include "base/logger.h"
#include "core/core.h"
#include "lifecycle/screen_detector.h"
#include "obx/qt.h"
#include "platform/ui/application.h"

namespace obx::qt {

namespace {
void refuse(const char* reason) { Logger::log(std::string("OmbrixOBX Qt attach refused: ") + reason, LogLevel::public_); }

template <typename Body>
auto guarded(Body body, decltype(body()) fallback) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (const std::exception& error) {
    Logger::log(std::string("OmbrixOBX Qt error: ") + error.what(), LogLevel::qa);
  } catch (...) {
    Logger::log("OmbrixOBX Qt error", LogLevel::qa);
  }
  return fallback;
}
}  // namespace

QtAttachment& QtAttachment::shared() {
  static auto* instance = new QtAttachment();
  return *instance;
}

bool QtAttachment::attach() {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
    refuse("no QApplication exists");
    return false;
  }
  if (QThread::currentThread() != QCoreApplication::instance()->thread()) {
    refuse("called off the GUI thread");
    return false;
  }
  if (isAttached()) {
    Logger::log("OmbrixOBX Qt is already attached", LogLevel::public_);
    return true;
  }
  if (!Core::shared()->commonDependencies()) {
    refuse("call OBX::initialize first");
    return false;
  }
  auto application = platform::Application::shared();
  auto scheduler = std::dynamic_pointer_cast<platform::RealScheduler>(application->scheduler());
  if (!scheduler || scheduler->servesMainOnOwnThread()) {
    refuse("the SDK's main queue is served by another thread");
    return false;
  }
  scheduler_ = scheduler;
  windows_ = std::make_unique<MirrorWindows>(application);
  widgets_ = std::make_unique<WidgetSource>(*windows_);
  input_ = std::make_unique<InputBridge>(application, *widgets_);
  WidgetSource* widgets = widgets_.get();
  driver_ = std::make_unique<MainQueueDriver>(scheduler, [widgets] {
    if (widgets->hasPendingChanges()) widgets->flush();
  });
  widgets_->start();
  widgets_->flush();
  driver_->start();
  Logger::log("OmbrixOBX Qt attached to the application", LogLevel::public_);
  return true;
}

void QtAttachment::detach() {
  if (!isAttached()) {
    Logger::log("OmbrixOBX Qt is not attached", LogLevel::developer);
    return;
  }
  if (QThread::currentThread() != QCoreApplication::instance()->thread()) {
    Logger::log("OmbrixOBX Qt detach refused: called off the GUI thread", LogLevel::public_);
    return;
  }
  // The screen being recorded ends as if the application had left it.
  if (auto dependencies = Core::shared()->commonDependencies(); dependencies && dependencies->screenDetector) {
    dependencies->screenDetector->clearCurrentScreen();
  }
  input_.reset();
  widgets_->stop();
  widgets_.reset();
  windows_.reset();
  // What the teardown posted (the controllers' last callbacks) runs before the loop lets go.
  scheduler_->drainMain();
  driver_.reset();
  scheduler_.reset();
  Logger::log("OmbrixOBX Qt detached from the application", LogLevel::public_);
}

}  // namespace obx::qt

namespace obx {

bool OBXQt::attach() noexcept {
  return qt::guarded([] { return qt::QtAttachment::shared().attach(); }, false);
}

void OBXQt::detach() noexcept {
  qt::guarded(
      [] {
        qt::QtAttachment::shared().detach();
        return true;
      },
      false);
}

bool OBXQt::isAttached() noexcept {
  return qt::guarded([] { return qt::QtAttachment::shared().isAttached(); }, false);
}

}  // namespace obx
