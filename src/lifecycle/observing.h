// The observing interfaces of the lifecycle producers: each lets a consumer add and remove an
// ObserverValue bound to the consumer's own queue. A new observer gets no current value; those
// interfaces that offer one (`screenDetected`, `batchContext`, `devicePerformance`) give it to read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <optional>

#include "base/observer_value.h"
#include "lifecycle/app_state_cycle.h"
#include "lifecycle/batch_context.h"
#include "lifecycle/device_measure.h"
#include "lifecycle/view_context.h"

namespace obx {

class AppLifeCycleObserving {
 public:
  virtual ~AppLifeCycleObserving() = default;
  virtual void add(std::shared_ptr<ObserverValue<AppStateCycle>> observer) = 0;
  virtual void remove(const std::shared_ptr<ObserverValue<AppStateCycle>>& observer) = 0;
};

class ViewLifeCycleObserving {
 public:
  virtual ~ViewLifeCycleObserving() = default;
  virtual void add(std::shared_ptr<ObserverValue<ViewStateCycle>> observer) = 0;
  virtual void remove(const std::shared_ptr<ObserverValue<ViewStateCycle>>& observer) = 0;
  // Main queue: how many appearances that make a screen detection follow ("viewWillAppear:",
  // "viewDidDisappear:") have begun so far.
  virtual std::uint64_t appearancesBegun() const { return 0; }
};

using ScreenObserverValue = ObserverValue<std::optional<ViewContext>>;

class ScreenDetectionObserving {
 public:
  virtual ~ScreenDetectionObserving() = default;
  virtual void add(std::shared_ptr<ScreenObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<ScreenObserverValue>& observer) = 0;
  // The screen detected last; absent between screens.
  virtual std::optional<ViewContext> screenDetected() const = 0;
  // Main queue: whether the screen of `screenID` is the one shown now, with no change of screen
  // begun on the main queue and not yet detected.
  virtual bool isOnDisplay(const std::string& screenID) const {
    auto screen = screenDetected();
    return screen && screen->screenID == screenID;
  }
};

using BatchObserverValue = ObserverValue<std::optional<BatchContext>>;

class BatchCoordinatorObserving {
 public:
  virtual ~BatchCoordinatorObserving() = default;
  virtual void add(std::shared_ptr<BatchObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<BatchObserverValue>& observer) = 0;
  // The batch written under now; absent between screens and after stop.
  virtual std::optional<BatchContext> batchContext() const = 0;
};

using DeviceMeasureObserverValue = ObserverValue<std::optional<DeviceMeasure>>;

class DevicePerformanceObserving {
 public:
  virtual ~DevicePerformanceObserving() = default;
  virtual void add(std::shared_ptr<DeviceMeasureObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<DeviceMeasureObserverValue>& observer) = 0;
  // The last measure; absent before the first.
  virtual std::optional<DeviceMeasure> devicePerformance() const = 0;
};

}  // namespace obx
