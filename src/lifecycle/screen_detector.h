// ScreenDetector: turns view controller appearances, application state, orientation changes and
// manual calls into one stream of screens (absent-or-present ViewContext). Observers run on
// "obx.ombrix.feature.ScreenDetector" and only schedule the detection, which reads views and so
// runs on the main queue. `screenDetected` is lock-protected because other queues read it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/notifier.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "lifecycle/observing.h"
#include "platform/ui/application.h"
#include "platform/ui/view_controller.h"

namespace obx {

// The image size rule: the screen's bounds, both sides halved when either exceeds 1200 points.
Size imageSizeForScreen(double width, double height);
// The context as log lines show it.
std::string describe(const ViewContext& context);

class ScreenDetector : public ScreenDetectionObserving, public std::enable_shared_from_this<ScreenDetector> {
 public:
  // Subscribes to the view and application cycles and to orientation changes, unless
  // `manualScreenTracking` is set. `notifier` starts absent.
  static std::shared_ptr<ScreenDetector> make(std::shared_ptr<platform::Scheduler> scheduler,
                                              std::shared_ptr<platform::NotificationCenter> notificationCenter,
                                              std::shared_ptr<platform::Application> application,
                                              std::shared_ptr<ViewLifeCycleObserving> viewLifeCycle,
                                              std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
                                              std::shared_ptr<SDKConfiguration> configuration,
                                              std::shared_ptr<Notifier<std::optional<ViewContext>>> notifier);
  ScreenDetector(std::shared_ptr<platform::Scheduler> scheduler,
                 std::shared_ptr<platform::NotificationCenter> notificationCenter,
                 std::shared_ptr<platform::Application> application,
                 std::shared_ptr<ViewLifeCycleObserving> viewLifeCycle,
                 std::shared_ptr<AppLifeCycleObserving> appLifeCycle, std::shared_ptr<SDKConfiguration> configuration,
                 std::shared_ptr<Notifier<std::optional<ViewContext>>> notifier);
  ~ScreenDetector() override;

  void add(std::shared_ptr<ScreenObserverValue> observer) override { notifier_->observe(std::move(observer)); }
  void remove(const std::shared_ptr<ScreenObserverValue>& observer) override { notifier_->remove(observer); }
  std::optional<ViewContext> screenDetected() const override { return screenDetected_.get(); }
  // The screen detected last, unless an appearance has begun since the last detection: its views
  // may already be on display while its detection waits.
  bool isOnDisplay(const std::string& screenID) const override;
  // Stores the screen under the write lock and publishes it.
  void setScreenDetected(std::optional<ViewContext> context);

  // A screen named by the application (or a rotation): builds its context, remembers the name as
  // the current identity and publishes it.
  void forceNewScreen(const std::string& name, const std::string& screenID, bool discardRecording,
                      bool discardTracking = false);
  // Ends the current screen: no current identity, absent published.
  void clearCurrentScreen();
  std::optional<std::string> currentScreenName() const;

  // The detection pass; main queue only.
  void detectScreen();
  // The orientation check; main queue only.
  void orientationChanged();

 private:
  struct TopController {
    std::shared_ptr<platform::ViewController> controller;
    std::optional<std::string> name;
    bool declarative = false;
  };
  void subscribe();
  void scheduleDetection();
  TopController findTopController() const;
  ViewContext makeContext(const std::string& screenID, const std::string& name, bool discardRecording,
                          bool discardTracking) const;

  std::shared_ptr<platform::Scheduler> scheduler_;
  std::shared_ptr<platform::NotificationCenter> notificationCenter_;
  std::shared_ptr<platform::Application> application_;
  std::shared_ptr<ViewLifeCycleObserving> viewLifeCycleObserving_;
  std::shared_ptr<AppLifeCycleObserving> appLifeCycleObserving_;
  std::shared_ptr<Notifier<std::optional<ViewContext>>> notifier_;
  ReadWriteLock<std::optional<ViewContext>> screenDetected_;
  std::shared_ptr<platform::DispatchQueue> screenDetectorQueue_;
  std::shared_ptr<platform::DispatchQueue> mainQueue_;
  std::shared_ptr<SDKConfiguration> configuration_;

  // Written on the main queue and on screenDetectorQueue; the lock only keeps the reads whole.
  mutable std::mutex stateMutex_;
  std::optional<std::string> currentScreenName_;
  bool isOnBackground_ = false;
  bool isActive_ = true;
  std::optional<platform::InterfaceOrientation> lastOrientation_;
  // The appearances begun when the last detection ran; main queue.
  std::atomic<std::uint64_t> appearancesDetected_{0};

  std::shared_ptr<ObserverValue<ViewStateCycle>> viewStateObserver_;
  std::shared_ptr<ObserverValue<AppStateCycle>> appStateObserver_;
  std::optional<platform::NotificationCenter::Token> orientationToken_;
};

}  // namespace obx
