#include "lifecycle/screen_detector.h"

#include <algorithm>
#include <cstdio>

#include "base/identifiers.h"
#include "base/logger.h"
#include "lifecycle/view_properties.h"
#include "platform/runtime/runtime.h"
#include "platform/ui/navigation_controller.h"
#include "platform/ui/notification_names.h"
#include "platform/ui/tab_bar_controller.h"
#include "platform/ui/window.h"

namespace obx {
namespace {

constexpr double kLargeScreenSide = 1200.0;
constexpr const char* kDeclarativeBundleSuffix = "SwiftUI.framework";

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool contains(const std::optional<StringList>& list, const std::string& name) {
  return list && std::find(list->begin(), list->end(), name) != list->end();
}

std::string number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", value);
  return buffer;
}

}  // namespace

Size imageSizeForScreen(double width, double height) {
  if (width > kLargeScreenSide || height > kLargeScreenSide) return Size{width / 2, height / 2};
  return Size{width, height};
}

std::string describe(const ViewContext& context) {
  return "ViewContext(screenID: \"" + context.screenID + "\", dateScreen: " + number(context.dateScreen) +
         ", name: \"" + context.name + "\", size: (" + number(context.size.width) + ", " +
         number(context.size.height) + "), discardRecording: " + (context.discardRecording ? "true" : "false") +
         ", discardTracking: " + (context.discardTracking ? "true" : "false") + ")";
}

std::shared_ptr<ScreenDetector> ScreenDetector::make(
    std::shared_ptr<platform::Scheduler> scheduler, std::shared_ptr<platform::NotificationCenter> notificationCenter,
    std::shared_ptr<platform::Application> application, std::shared_ptr<ViewLifeCycleObserving> viewLifeCycle,
    std::shared_ptr<AppLifeCycleObserving> appLifeCycle, std::shared_ptr<SDKConfiguration> configuration,
    std::shared_ptr<Notifier<std::optional<ViewContext>>> notifier) {
  auto detector = std::make_shared<ScreenDetector>(std::move(scheduler), std::move(notificationCenter),
                                                   std::move(application), std::move(viewLifeCycle),
                                                   std::move(appLifeCycle), std::move(configuration),
                                                   std::move(notifier));
  detector->subscribe();
  return detector;
}

ScreenDetector::ScreenDetector(std::shared_ptr<platform::Scheduler> scheduler,
                               std::shared_ptr<platform::NotificationCenter> notificationCenter,
                               std::shared_ptr<platform::Application> application,
                               std::shared_ptr<ViewLifeCycleObserving> viewLifeCycle,
                               std::shared_ptr<AppLifeCycleObserving> appLifeCycle,
                               std::shared_ptr<SDKConfiguration> configuration,
                               std::shared_ptr<Notifier<std::optional<ViewContext>>> notifier)
    : scheduler_(std::move(scheduler)),
      notificationCenter_(std::move(notificationCenter)),
      application_(std::move(application)),
      viewLifeCycleObserving_(std::move(viewLifeCycle)),
      appLifeCycleObserving_(std::move(appLifeCycle)),
      notifier_(std::move(notifier)),
      screenDetectorQueue_(platform::DispatchQueue::makeSerial(scheduler_, "obx.ombrix.feature.ScreenDetector")),
      mainQueue_(scheduler_->mainQueue()),
      configuration_(std::move(configuration)) {}

ScreenDetector::~ScreenDetector() {
  if (viewStateObserver_ && viewLifeCycleObserving_) viewLifeCycleObserving_->remove(viewStateObserver_);
  if (appStateObserver_ && appLifeCycleObserving_) appLifeCycleObserving_->remove(appStateObserver_);
  if (orientationToken_ && notificationCenter_) notificationCenter_->removeObserver(*orientationToken_);
}

void ScreenDetector::subscribe() {
  if (configuration_ && configuration_->common().manualScreenTracking) return;
  std::weak_ptr<ScreenDetector> weak = shared_from_this();
  viewStateObserver_ = ObserverValue<ViewStateCycle>::make(screenDetectorQueue_, [weak](const ViewStateCycle& state,
                                                                                        const ViewStateCycle&) {
    auto self = weak.lock();
    if (!self) return;
    // A disappearance catches the page that comes back when a presented controller goes away.
    if (state == ViewStateCycle::viewWillAppear || state == ViewStateCycle::viewDidDisappear) self->scheduleDetection();
  });
  appStateObserver_ = ObserverValue<AppStateCycle>::make(screenDetectorQueue_, [weak](const AppStateCycle& state,
                                                                                     const AppStateCycle&) {
    auto self = weak.lock();
    if (!self) return;
    if (state == AppStateCycle::active) {
      {
        std::lock_guard lock(self->stateMutex_);
        self->isActive_ = true;
      }
      self->scheduleDetection();
    } else if (state == AppStateCycle::background) {
      {
        std::lock_guard lock(self->stateMutex_);
        self->isOnBackground_ = true;
        self->isActive_ = false;
      }
      self->setScreenDetected(std::nullopt);
    }
  });
  if (viewLifeCycleObserving_) viewLifeCycleObserving_->add(viewStateObserver_);
  if (appLifeCycleObserving_) appLifeCycleObserving_->add(appStateObserver_);
  if (notificationCenter_) {
    orientationToken_ = notificationCenter_->addObserver(
        platform::kDeviceOrientationDidChangeNotification, nullptr,
        [weak](const platform::Notification&) {
          if (auto self = weak.lock()) self->orientationChanged();
        },
        mainQueue_);
  }
}

void ScreenDetector::scheduleDetection() {
  std::weak_ptr<ScreenDetector> weak = weak_from_this();
  mainQueue_->async([weak] {
    if (auto self = weak.lock()) self->detectScreen();
  });
}

void ScreenDetector::setScreenDetected(std::optional<ViewContext> context) {
  screenDetected_.set(context);
  notifier_->notify(std::move(context));
}

std::optional<std::string> ScreenDetector::currentScreenName() const {
  std::lock_guard lock(stateMutex_);
  return currentScreenName_;
}

ViewContext ScreenDetector::makeContext(const std::string& screenID, const std::string& name, bool discardRecording,
                                        bool discardTracking) const {
  ViewContext context;
  context.screenID = screenID;
  context.dateScreen = mainQueue_->now();
  context.name = name;
  platform::Rect bounds = application_ ? application_->mainScreen()->bounds() : platform::Rect{};
  context.size = imageSizeForScreen(bounds.size.width, bounds.size.height);
  context.discardRecording = discardRecording;
  context.discardTracking = discardTracking;
  return context;
}

void ScreenDetector::forceNewScreen(const std::string& name, const std::string& screenID, bool discardRecording,
                                    bool discardTracking) {
  ViewContext context = makeContext(screenID, name, discardRecording, discardTracking);
  Logger::log("Force New screen detected manually " + describe(context), LogLevel::developer);
  {
    std::lock_guard lock(stateMutex_);
    currentScreenName_ = name;
  }
  setScreenDetected(std::move(context));
}

void ScreenDetector::clearCurrentScreen() {
  {
    std::lock_guard lock(stateMutex_);
    currentScreenName_.reset();
  }
  setScreenDetected(std::nullopt);
}

ScreenDetector::TopController ScreenDetector::findTopController() const {
  TopController top;
  if (!application_) return top;
  std::shared_ptr<platform::Window> window = application_->keyWindow();
  if (!window) {
    auto windows = application_->windows();
    if (!windows.empty()) window = windows.front();
  }
  if (!window) return top;
  auto controller = window->rootViewController();
  if (!controller) return top;
  while (auto presented = controller->presentedViewController()) controller = presented;
  for (;;) {
    if (controller->isKindOfClass(platform::TabBarController::runtimeClass())) {
      // A container with nothing selected or an empty stack has no top controller: the container
      // itself is no screen.
      auto selected = controller->sharedAs<platform::TabBarController>()->selectedViewController();
      if (!selected) return top;
      controller = selected;
    } else if (controller->isKindOfClass(platform::NavigationController::runtimeClass())) {
      auto last = controller->sharedAs<platform::NavigationController>()->topViewController();
      if (!last) return top;
      controller = last;
    } else {
      break;
    }
  }
  top.controller = controller;
  const platform::Class* cls = controller->getClass();
  top.declarative = endsWith(platform::Bundle::bundleForClass(cls)->bundleURL(), kDeclarativeBundleSuffix);
  top.name = obxScreenName(*controller);
  if (!top.name && !top.declarative) top.name = platform::stringFromClass(cls);
  return top;
}

bool ScreenDetector::isOnDisplay(const std::string& screenID) const {
  auto screen = screenDetected_.get();
  if (!screen || screen->screenID != screenID) return false;
  // Screens named by the application follow no appearance.
  if (!viewStateObserver_ || !viewLifeCycleObserving_) return true;
  return viewLifeCycleObserving_->appearancesBegun() == appearancesDetected_.load();
}

void ScreenDetector::detectScreen() {
  if (viewLifeCycleObserving_) appearancesDetected_.store(viewLifeCycleObserving_->appearancesBegun());
  TopController top = findTopController();
  if (!top.controller || !top.name) {
    Logger::log("WARNING: new screen detected but not tracked", LogLevel::public_);
    return;
  }
  auto& controller = *top.controller;
  const std::string& name = *top.name;
  const bool disableAll = obxDisableAnalyticsAndRecordingOnThisScreen(controller);
  ViewContext context =
      makeContext(makeUUIDString(), name, obxDisableRecordingOnThisScreen(controller) || disableAll, disableAll);

  if (configuration_) {
    Common common = configuration_->common();
    // Takes effect from the next detection of this controller: the context above is built already.
    if (contains(common.screensMasking, name) || contains(common.disableScreenTracking, name)) {
      setObxDisableRecordingOnThisScreen(controller, true);
    }
  }

  const std::string identity = top.declarative ? name : controller.description();
  bool fromBackground = false;
  std::optional<std::string> current;
  {
    std::lock_guard lock(stateMutex_);
    if (isOnBackground_ && isActive_) {
      isOnBackground_ = false;
      fromBackground = true;
    }
    current = currentScreenName_;
  }
  if (fromBackground) {
    Logger::log("New screen detected from Background " + describe(context), LogLevel::developer);
  } else if (current && *current == identity) {
    return;
  } else if (current) {
    Logger::log("New screen detected different to previous one " + describe(context), LogLevel::developer);
  } else {
    Logger::log("New screen detected and not previous screen " + name, LogLevel::developer);
  }
  Logger::log("OmbrixOBX new screen tracking: " + name, LogLevel::customer);
  {
    std::lock_guard lock(stateMutex_);
    currentScreenName_ = identity;
  }
  setScreenDetected(std::move(context));
}

void ScreenDetector::orientationChanged() {
  if (!application_) return;
  platform::InterfaceOrientation orientation = application_->statusBarOrientation();
  if (auto window = application_->keyWindow()) {
    if (auto scene = window->windowScene()) orientation = scene->interfaceOrientation();
  }
  {
    std::lock_guard lock(stateMutex_);
    if (!lastOrientation_) {
      lastOrientation_ = orientation;
      return;
    }
    if (*lastOrientation_ == orientation) return;
    lastOrientation_ = orientation;
  }
  TopController top = findTopController();
  if (!top.controller || !top.name) return;
  const bool disableAll = obxDisableAnalyticsAndRecordingOnThisScreen(*top.controller);
  forceNewScreen(*top.name, makeUUIDString(), obxDisableRecordingOnThisScreen(*top.controller) || disableAll,
                 disableAll);
}

}  // namespace obx
