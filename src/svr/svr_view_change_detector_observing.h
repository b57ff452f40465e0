// SVRViewChangeDetectorObserving: where the tracking loop hears that something on screen was laid out
// again. The value carries nothing; each delivery is one change, at most one per frame of the replay
// rate.
#pragma once

#include <memory>
#include <optional>
#include <variant>

#include "base/observer_value.h"

namespace obx {

using LayerChange = std::optional<std::monostate>;
using LayerChangeObserverValue = ObserverValue<LayerChange>;

class SVRViewChangeDetectorObserving {
 public:
  virtual ~SVRViewChangeDetectorObserving() = default;
  virtual void add(std::shared_ptr<LayerChangeObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<LayerChangeObserverValue>& observer) = 0;
};

}  // namespace obx
