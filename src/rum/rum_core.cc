#include "rum/rum_core.h"

#include <cmath>
#include <variant>

#include "base/logger.h"
#include "lifecycle/observing.h"
#include "lifecycle/reachability_observing.h"
#include "platform/crypto/crypto.h"
#include "platform/ui/application.h"
#include "rum/rum_form_handle.h"
#include "rum/rum_scroll_handle.h"
#include "rum/rum_touches_handle.h"
#include "session/crash_coordinator.h"
#include "session/crash_snapshot.h"
#include "session/metrics.h"
#include "session/session_life_cycle_observing.h"
#include "session/tracked_events_observing.h"
#include "store/data_controller.h"

namespace obx {
namespace {

std::atomic<std::int64_t> gScreenCounter{0};

std::int64_t wholeSeconds(platform::Date date) { return static_cast<std::int64_t>(date); }

std::int64_t wholeMilliseconds(platform::Date date) { return static_cast<std::int64_t>(date * 1000.0); }

std::optional<std::string> stressLetter(const std::vector<DeviceStressedType>& stress) {
  if (stress.empty()) return std::nullopt;
  switch (stress.front()) {
    case DeviceStressedType::battery: return "B";
    case DeviceStressedType::memory: return "M";
    case DeviceStressedType::cpu: return "C";
  }
  return std::nullopt;
}

bool listHolds(const std::optional<StringList>& list, const std::string& name) {
  if (!list) return false;
  for (const auto& entry : *list) {
    if (entry == name) return true;
  }
  return false;
}

}  // namespace

std::int64_t RUMCore::screenCounter() { return gScreenCounter.load(); }

std::shared_ptr<RUMCore> RUMCore::make(RUMDependencies dependencies, std::shared_ptr<DataController> dataController,
                                       std::shared_ptr<platform::Scheduler> scheduler, RUMHandles handles) {
  if (!dependencies.configuration) throw RUMCoreError("RUM needs a configuration");
  if (!dataController) throw RUMCoreError("RUM needs a DataController");
  if (!scheduler) throw RUMCoreError("RUM needs a scheduler");
  auto core = std::make_shared<RUMCore>(Token{}, std::move(dependencies), std::move(dataController),
                                        std::move(scheduler), std::move(handles));
  core->start();
  return core;
}

RUMCore::RUMCore(Token, RUMDependencies dependencies, std::shared_ptr<DataController> dataController,
                 std::shared_ptr<platform::Scheduler> scheduler, RUMHandles handles)
    : dependencies_(std::move(dependencies)),
      scheduler_(std::move(scheduler)),
      dataController_(std::move(dataController)),
      imagePlaceholderBuilder_(dependencies_.imagePlaceholderBuilder),
      rumQueue_(platform::DispatchQueue::makeSerial(scheduler_, kQueueLabel)),
      // Screen start reads the toolkit: its blocks run on the main queue itself.
      rumMainQueue_(scheduler_->mainQueue()),
      screenHandle_(std::make_unique<RUMScreenHandle>(dependencies_.metrics, ReachabilityConnection::none)),
      touchesHandle_(std::move(handles.touchesHandle)),
      scrollHandle_(std::move(handles.scrollHandle)),
      formHandle_(std::move(handles.formHandle)),
      samplingHandle_(std::make_unique<RUMSamplingHandle>(
          std::make_unique<RUMSamplingHandleConfig>(dependencies_.configuration, rumQueue_))),
      rumConfiguration_(std::make_unique<RUMConfiguration>(dependencies_.configuration, rumQueue_)),
      webViewSampling_(RUMWebViewSampling::make(dependencies_.configuration, rumQueue_, scheduler_->mainQueue())) {
  if (!scrollHandle_) {
    contentOffsetSwizzler_ = std::make_shared<RUMUIScrollContentOffsetSwizzler>(
        std::make_shared<RUMUIScrollContentOffsetSwizzler::ScrollViewNotifier>(
            scheduler_, std::weak_ptr<platform::ScrollView>(), "Optional<UIScrollView>"));
    contentOffsetSwizzler_->start();
    scrollHandle_ = std::make_shared<RUMScrollHandle>(contentOffsetSwizzler_, scheduler_);
  }
  if (!formHandle_) {
    formHandle_ = RUMFormHandle::make(scheduler_, platform::Application::shared()->notificationCenter());
  }
  if (!touchesHandle_) {
    touchesHandle_ = std::make_shared<RUMTouchesHandle>(std::make_shared<RUMTouchesHandle::TouchesNotifier>(
        scheduler_, std::vector<RUMTouchesHandle::Wrapper>(), "Array<Wrapper>"));
  }
}

void RUMCore::start() {
  rumConfiguration_->observe();
  if (!isFlutter()) {
    touchesHandle_->add(touchesObserver());
    touchesHandle_->start();
  }

  if (auto reachability = dependencies_.reachability) {
    reachability->add(reachabilityObserver());
    if (auto connection = reachability->connection()) screenHandle_->setCurrentConnectivity(*connection);
  }
  if (auto appCycle = dependencies_.appCycle) appCycle->add(appStateObserver());
  if (auto performance = dependencies_.devicePerformance) {
    performance->add(performanceObserver());
    if (auto measure = performance->devicePerformance()) performanceObserver()->deliver(measure, std::nullopt);
  }
  if (auto trackedEvents = dependencies_.trackedEvents) {
    trackedEvents->add(trackedEventsObserver());
    if (auto event = trackedEvents->event()) trackedEventsObserver()->deliver(event, std::nullopt);
  }
  rumConfiguration_->refresh();

  if (auto batchCoordinator = dependencies_.batchCoordinator) {
    batchCoordinator->add(batchObserver());
    if (auto batch = batchCoordinator->batchContext()) batchObserver()->deliver(batch, std::nullopt);
  }
  CrashCoordinator::shared().add(shared_from_this());
}

RUMCore::~RUMCore() {
  // Core removes this feature as soon as it hears of the change, before rumQueue has run the
  // delivery of the same value: the end of the screen follows the configuration as it is now.
  rumConfiguration_->refresh();
  samplingHandle_->configuration().refresh();
  Common common = rumConfiguration_->common();
  if (common.userConsents == Consent::none || !shouldCollectExperienceData(common)) writeScreenEndEvents();

  if (dependencies_.appCycle && appStateObserver_) dependencies_.appCycle->remove(appStateObserver_);
  if (dependencies_.devicePerformance && performanceObserver_) {
    dependencies_.devicePerformance->remove(performanceObserver_);
  }
  if (dependencies_.trackedEvents && trackedEventsObserver_) dependencies_.trackedEvents->remove(trackedEventsObserver_);
  if (dependencies_.reachability && reachabilityObserver_) dependencies_.reachability->remove(reachabilityObserver_);
  if (dependencies_.batchCoordinator && batchObserver_) dependencies_.batchCoordinator->remove(batchObserver_);
  if (scrollHandle_) scrollHandle_->stop();
  if (touchesObserver_) touchesHandle_->remove(touchesObserver_);
  rumConfiguration_.reset();
  // This object can no longer be named by a shared pointer: dropping expired entries removes it.
  CrashCoordinator::shared().remove(std::shared_ptr<RUMCore>());
  CrashSnapshot::publish(CrashSnapshot::Part::analytics, std::nullopt);
}

// MARK: - Observers

std::shared_ptr<ObserverValue<std::optional<BatchContext>>> RUMCore::batchObserver() {
  if (!batchObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    batchObserver_ = ObserverValue<std::optional<BatchContext>>::make(
        rumQueue_, [weak](const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous) {
          if (auto self = weak.lock()) self->batchDetected(batch, previous);
        });
  }
  return batchObserver_;
}

std::shared_ptr<ObserverValue<AppStateCycle>> RUMCore::appStateObserver() {
  if (!appStateObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    appStateObserver_ = ObserverValue<AppStateCycle>::make(rumQueue_, [weak](const AppStateCycle& state,
                                                                             const AppStateCycle&) {
      if (auto self = weak.lock()) self->appStateChanged(state);
    });
  }
  return appStateObserver_;
}

std::shared_ptr<ObserverValue<std::optional<DeviceMeasure>>> RUMCore::performanceObserver() {
  if (!performanceObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    performanceObserver_ = ObserverValue<std::optional<DeviceMeasure>>::make(
        rumQueue_, [weak](const std::optional<DeviceMeasure>& measure, const std::optional<DeviceMeasure>&) {
          if (auto self = weak.lock()) self->performanceMeasured(measure);
        });
  }
  return performanceObserver_;
}

std::shared_ptr<ObserverValue<std::optional<TrackedEvent>>> RUMCore::trackedEventsObserver() {
  if (!trackedEventsObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    trackedEventsObserver_ = ObserverValue<std::optional<TrackedEvent>>::make(
        rumQueue_, [weak](const std::optional<TrackedEvent>& event, const std::optional<TrackedEvent>&) {
          if (auto self = weak.lock()) self->trackedEventArrived(event);
        });
  }
  return trackedEventsObserver_;
}

std::shared_ptr<ObserverValue<std::optional<ReachabilityConnection>>> RUMCore::reachabilityObserver() {
  if (!reachabilityObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    reachabilityObserver_ = ObserverValue<std::optional<ReachabilityConnection>>::make(
        rumQueue_, [weak](const std::optional<ReachabilityConnection>& connection,
                          const std::optional<ReachabilityConnection>&) {
          if (auto self = weak.lock()) self->connectivityChanged(connection);
        });
  }
  return reachabilityObserver_;
}

std::shared_ptr<TouchesObserverValue> RUMCore::touchesObserver() {
  if (!touchesObserver_) {
    std::weak_ptr<RUMCore> weak = weak_from_this();
    touchesObserver_ = TouchesObserverValue::make(
        rumQueue_, [weak](const std::vector<RUMTouchWrapper>& touches, const std::vector<RUMTouchWrapper>&) {
          if (auto self = weak.lock()) self->touchesDetected(touches);
        });
  }
  return touchesObserver_;
}

// MARK: - Batches and screens

void RUMCore::batchDetected(const std::optional<BatchContext>& batch, const std::optional<BatchContext>& previous) {
  Common common = rumConfiguration_->common();
  if (viewContext_ && batch && viewContext_->screenID == batch->viewContext.screenID) {
    // A further batch of the same screen.
    if (auto weighted = samplingHandle_->weightedSampling()) {
      writeEvent(EventType::weightedSampling, *weighted, batchContext_);
    }
    writeEvent(EventType::batchEnd, std::string(), batchContext_);
    batchContext_ = batch;
    publishCrashState();
    if (auto session = dependencies_.sessions ? dependencies_.sessions->sessionContext() : std::nullopt) {
      writeEvent(EventType::session, Session{session->sessionID, session->leadID}, batchContext_);
    }
    if (!writeBatchEvent()) return;
    placeholderStep();
    return;
  }

  if (previous && viewContext_) writeScreenEndEvents();
  batchContext_ = batch;
  viewContext_ = batch ? std::optional<ViewContext>(batch->viewContext) : std::nullopt;
  currentPlaceholder_.reset();

  if (batch && (listHolds(common.disableScreenTracking, batch->viewContext.name) || batch->viewContext.discardTracking)) {
    currentScreenDiscarded_ = true;
    viewContext_.reset();
    publishCrashState();
    return;
  }
  currentScreenDiscarded_ = false;
  publishCrashState();
  if (!viewContext_) {
    placeholderStep();
    return;
  }

  gScreenCounter.fetch_add(1);
  if (auto session = dependencies_.sessions ? dependencies_.sessions->sessionContext() : std::nullopt) {
    writeEvent(EventType::session, Session{session->sessionID, session->leadID}, batchContext_);
    if (!writeBatchEvent()) return;
  }
  ViewContext screen = *viewContext_;
  // rumQueue waits while the screen start reads the toolkit on the main queue.
  rumMainQueue_->sync([this, &screen] { screenStart(screen); });
  placeholderStep();
}

bool RUMCore::writeBatchEvent() {
  if (!viewContext_) return false;
  std::string key = viewContext_->name + "_" + std::to_string(gScreenCounter.load()) + "_" +
                    std::to_string(wholeSeconds(viewContext_->dateScreen));
  std::string cScreenID = platform::hexString(platform::ccMD5(key));
  writeEvent(EventType::batch, Batch{cScreenID, now()}, batchContext_);
  return true;
}

void RUMCore::screenStart(const ViewContext& viewContext) {
  Screen screen{viewContext.name, gScreenCounter.load(), wholeSeconds(viewContext.dateScreen),
                screenHandle_->orientation()};
  writeEvent(EventType::screen, screen, batchContext_);
  writeEvent(EventType::appMiscellaneous, screenHandle_->appMiscellaneous(), batchContext_);

  if (scrollHandle_) scrollHandle_->start();
  if (formHandle_) formHandle_->start(viewContext);

  if (timeInBackground_) {
    platform::Date date = now();
    writeEvent(EventType::idle, Idle{date - *timeInBackground_, wholeSeconds(*timeInBackground_)}, batchContext_);
    timeInBackground_.reset();
  }
  flushTrackedEvents();
}

void RUMCore::writeScreenEndEvents() {
  writeEvent(EventType::samplingStatus, samplingHandle_->sampling(), batchContext_);
  // The handles end with the screen on every platform, so that nothing they watch outlives it;
  // Flutter writes neither list.
  std::vector<Scroll> scrolls = scrollHandle_ ? scrollHandle_->takeScrolls() : std::vector<Scroll>();
  std::vector<TrackedEvent> forms = formHandle_ ? formHandle_->takeFormEvents() : std::vector<TrackedEvent>();
  if (!isFlutter()) {
    if (!scrolls.empty()) writeEvent(EventType::scroll, scrolls, batchContext_);
    for (const TrackedEvent& event : forms) writeEvent(event.eventType, event.data, batchContext_);
  }
  writeEvent(EventType::applicationEnd, std::string(), batchContext_);
  if (auto weighted = samplingHandle_->weightedSampling()) {
    writeEvent(EventType::weightedSampling, *weighted, batchContext_);
  }
  writeEvent(EventType::batchEnd, std::string(), batchContext_);

  if (auto configuration = dependencies_.configuration) {
    configuration->editUserConfiguration([](UserConfiguration& user) { user.userScreenFlag.reset(); });
    configuration->applyUserConfiguration();
  }
}

void RUMCore::flushTrackedEvents() {
  auto queued = trackedEventsToSend_.mutate([](std::vector<TrackedEvent>& list) { return std::exchange(list, {}); });
  for (const TrackedEvent& event : queued) {
    if (event.claimWrite()) writeEvent(event.eventType, event.data, batchContext_);
  }
}

// MARK: - Placeholders

void RUMCore::placeholderStep() {
  if (!batchContext_) return;
  Common common = rumConfiguration_->common();
  if (isFlutter() || common.userConsents == Consent::analyticsAndRecording) return;
  BatchContext batch = *batchContext_;
  if (currentPlaceholder_) {
    writeEvent(EventType::image, *currentPlaceholder_, batch);
    return;
  }
  if (!imagePlaceholderBuilder_) return;
  std::weak_ptr<RUMCore> weak = weak_from_this();
  imagePlaceholderBuilder_->placeholderImage(PlaceholderReason::noPermissions,
                                             [weak, batch](std::optional<std::string> data) {
                                               auto self = weak.lock();
                                               if (!self || !data) return;
                                               // The core's fields belong to rumQueue.
                                               self->rumQueue_->async([weak, batch, data = std::move(*data)] {
                                                 if (auto core = weak.lock()) core->savePlaceholderImage(data, batch);
                                               });
                                             });
}

void RUMCore::savePlaceholderImage(const std::string& data, const BatchContext& batch) {
  platform::Rect bounds = platform::Application::shared()->mainScreen()->bounds();
  double width = bounds.size.width;
  double height = bounds.size.height;
  if (width > 1200.0 || height > 1200.0) {
    width /= 2.0;
    height /= 2.0;
  }
  Logger::log("Save placeholder image for screen: " + batch.viewContext.screenID, LogLevel::qa);
  Image image;
  image.index = 0;
  image.data = data;
  image.timestamp = wholeMilliseconds(now());
  dataController_->saveImage(image, batch);
  writeEvent(EventType::imagePlaceholder, true, batch, true);
  currentPlaceholder_ = ImageEvent{0, "0", static_cast<std::int64_t>(width), static_cast<std::int64_t>(height),
                                   wholeMilliseconds(now())};
  writeEvent(EventType::image, *currentPlaceholder_, batch, true);
}

// MARK: - Application state, touches, measures, tracked events

void RUMCore::appStateChanged(AppStateCycle state) {
  if (state != AppStateCycle::background) return;
  writeScreenEndEvents();
  timeInBackground_ = now();
  viewContext_.reset();
  batchContext_.reset();
  publishCrashState();
  if (dependencies_.metrics) dependencies_.metrics->incrementAppLaunchesSessions();
}

void RUMCore::touchesDetected(const std::vector<RUMTouchWrapper>& touches) {
  std::vector<Touch> began, moved, ended;
  for (const RUMTouchWrapper& wrapper : touches) {
    switch (wrapper.type) {
      case EventType::touchBegan: began.push_back(wrapper.touch); break;
      case EventType::touchMoved: moved.push_back(wrapper.touch); break;
      case EventType::touchEnded: ended.push_back(wrapper.touch); break;
      default: break;
    }
  }
  if (!began.empty()) writeEvent(EventType::touchBegan, began, batchContext_);
  if (!moved.empty()) writeEvent(EventType::touchMoved, moved, batchContext_);
  if (!ended.empty()) writeEvent(EventType::touchEnded, ended, batchContext_);
}

void RUMCore::performanceMeasured(const std::optional<DeviceMeasure>& measure) {
  if (!measure) return;
  Performance record{measure->appCPUUsage,     measure->appMemoryUsage, measure->appBatteryUsage,
                     measure->numberOfThreads, measure->maxMemory,      stressLetter(measure->isStressed)};
  writeEvent(EventType::performance, record, batchContext_);
}

void RUMCore::connectivityChanged(const std::optional<ReachabilityConnection>& connection) {
  if (connection) screenHandle_->setCurrentConnectivity(*connection);
}

void RUMCore::trackedEventArrived(const std::optional<TrackedEvent>& event) {
  if (!event) return;
  if (!batchContext_ || currentScreenDiscarded_) {
    trackedEventsToSend_.mutate([&](std::vector<TrackedEvent>& list) { list.push_back(*event); });
    return;
  }
  if (!event->claimWrite()) return;
  if (event->eventType == EventType::formSuccess) {
    const auto* result = std::get_if<FormSuccess>(&event->data);
    if (result && !isFlutter() && formHandle_) formHandle_->handle(*result);
    return;
  }
  writeEvent(event->eventType, event->data, batchContext_);
}

// MARK: - Crash

void RUMCore::crashed(const Crash&) { applicationWillCrash(); }

void RUMCore::publishCrashState() {
  crashState_.publish(CrashState{batchContext_, currentScreenDiscarded_, isFlutter()});
  // What the next start writes to close this screen should the process die now, as the crash path
  // below would write it.
  std::vector<CrashSnapshot::EndEvent> endEvents;
  if (batchContext_) {
    endEvents.push_back({EventType::samplingStatus, Json(samplingHandle_->sampling())});
    endEvents.push_back({EventType::applicationEnd, Json(std::string())});
    if (auto weighted = samplingHandle_->weightedSampling(); weighted && !currentScreenDiscarded_) {
      endEvents.push_back({EventType::weightedSampling, Json(*weighted)});
    }
    endEvents.push_back({EventType::batchEnd, Json(std::string())});
  }
  CrashSnapshot::publish(CrashSnapshot::Part::analytics, batchContext_, endEvents);
}

void RUMCore::applicationWillCrash() {
  if (crashScreenStoped_.exchange(true)) return;
  // The crashing thread reads the batch as rumQueue last published it, never rumQueue's fields.
  const CrashState* state = crashState_.read();
  if (!state || !state->batch) return;
  const BatchContext& batch = *state->batch;
  writeCrashEvent(EventType::samplingStatus, samplingHandle_->sampling(), batch);
  if (!state->flutter) {
    if (scrollHandle_) {
      auto scrolls = scrollHandle_->takeScrolls();
      if (!scrolls.empty()) writeCrashEvent(EventType::scroll, scrolls, batch);
    }
    if (formHandle_) {
      for (const TrackedEvent& event : formHandle_->takeFormEvents()) writeCrashEvent(event.eventType, event.data, batch);
    }
  }
  writeCrashEvent(EventType::applicationEnd, std::string(), batch);
  // Through the ordinary, queued write: held back on a discarded screen.
  if (auto weighted = samplingHandle_->weightedSampling(); weighted && !state->discarded) {
    dataController_->saveEvent(EventType::weightedSampling, now(), *weighted, batch);
  }
  writeCrashEvent(EventType::batchEnd, std::string(), batch);
}

// MARK: - Writing

template <typename T>
void RUMCore::writeEvent(EventType type, const T& payload, const std::optional<BatchContext>& batch, bool force) {
  if (!batch || (currentScreenDiscarded_ && !force)) return;
  // The store logs what it refuses.
  dataController_->saveEvent(type, now(), payload, *batch);
}

template <typename T>
void RUMCore::writeCrashEvent(EventType type, const T& payload, const BatchContext& batch) {
  dataController_->saveEventNow(type, now(), payload, batch);
}

void RUMCore::setDelegateIfAbsent(std::shared_ptr<OBXDelegate> delegate) {
  delegate_.mutate([&](std::shared_ptr<OBXDelegate>& current) {
    if (!current) current = std::move(delegate);
  });
}

bool RUMCore::isFlutter() const { return rumConfiguration_->common().platform.type == PlatformType::flutter; }

platform::Date RUMCore::now() const { return scheduler_->clock().now(); }

}  // namespace obx
