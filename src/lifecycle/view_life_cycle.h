// ViewLifeCycle: the appearance callbacks of every view controller of the process, as a Notifier
// of ViewStateCycle. At construction it replaces "viewDidLoad", "viewWillAppear:", "viewDidAppear:",
// "viewWillDisappear:" and "viewDidDisappear:" on the platform's view controller class; each
// replacement calls the original, then stores the state and publishes it. The destructor puts the
// originals back. Callbacks come on the main queue. The appearances that lead to a detection are
// also counted, synchronously, as they begin.
#pragma once

#include <atomic>
#include <memory>

#include "base/notifier.h"
#include "lifecycle/observing.h"
#include "lifecycle/swizzler.h"

namespace obx {

class ViewLifeCycle : public Swizzler<void(platform::Object&, bool)>, public ViewLifeCycleObserving {
 public:
  // `notifier` starts at `viewDidLoad`.
  explicit ViewLifeCycle(std::shared_ptr<Notifier<ViewStateCycle>> notifier);
  ~ViewLifeCycle() override;

  void add(std::shared_ptr<ObserverValue<ViewStateCycle>> observer) override {
    shared_->notifier->observe(std::move(observer));
  }
  void remove(const std::shared_ptr<ObserverValue<ViewStateCycle>>& observer) override {
    shared_->notifier->remove(observer);
  }
  std::uint64_t appearancesBegun() const override { return shared_->appearancesBegun.load(); }
  ViewStateCycle state() const { return shared_->state.load(); }
  const std::shared_ptr<Notifier<ViewStateCycle>>& notifier() const { return shared_->notifier; }

 private:
  // What the stand-ins report to; shared so that a stand-in running on the main thread while this
  // object goes away on another never touches freed memory.
  struct Shared {
    std::shared_ptr<Notifier<ViewStateCycle>> notifier;
    std::atomic<ViewStateCycle> state{ViewStateCycle::viewDidLoad};
    // Counted before the original runs: from then on the views may already show the next screen.
    std::atomic<std::uint64_t> appearancesBegun{0};
    void report(ViewStateCycle value) {
      state.store(value);
      if (notifier) notifier->notify(value);
    }
  };

  std::shared_ptr<Shared> shared_;
  // "viewDidLoad" takes no argument, so it has a swizzler of its own signature.
  Swizzler<void(platform::Object&)> didLoadSwizzler_;
};

}  // namespace obx
