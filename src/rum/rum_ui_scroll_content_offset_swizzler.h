// RUMUIScrollContentOffsetSwizzler: hears of every change of the content offset of every scroll view
// of the application by replacing "setContentOffset:" of the scroll view class. The stand-in keeps
// the scroll view, publishes it, and then calls the replaced implementation; it does nothing more,
// since it runs for every frame of every scroll. Scroll views are published and kept weakly: the
// capture never keeps a view alive. The destructor puts the replaced implementation back.
//
// Threads: the stand-in runs where "setContentOffset:" is called, the main thread; observers run
// on their own queues.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "base/notifier.h"
#include "lifecycle/swizzler.h"
#include "platform/ui/scroll_view.h"

namespace obx {

using ScrollViewObserverValue = ObserverValue<std::weak_ptr<platform::ScrollView>>;

class RRUMUIScrollContentOffsetSwizzlerObserving {
 public:
  virtual ~RRUMUIScrollContentOffsetSwizzlerObserving() = default;
  virtual void add(std::shared_ptr<ScrollViewObserverValue> observer) = 0;
  virtual void remove(const std::shared_ptr<ScrollViewObserverValue>& observer) = 0;
};

class RUMUIScrollContentOffsetSwizzler final : public Swizzler<platform::SetContentOffsetSignature>,
                                               public RRUMUIScrollContentOffsetSwizzlerObserving {
 public:
  using ScrollViewNotifier = Notifier<std::weak_ptr<platform::ScrollView>>;
  static constexpr const char* kSwizzleErrorMessage = "RUM UIPanGestureRecognizer swizzle error ";

  explicit RUMUIScrollContentOffsetSwizzler(std::shared_ptr<ScrollViewNotifier> notifier);
  ~RUMUIScrollContentOffsetSwizzler() override;

  // Replaces "setContentOffset:"; false, with the failure logged, when it can't.
  bool start();
  // Observing twice is a no-op: each screen's start adds the same observer again.
  void add(std::shared_ptr<ScrollViewObserverValue> observer) override;
  void remove(const std::shared_ptr<ScrollViewObserverValue>& observer) override;
  // The scroll view whose offset changed last, while it lives.
  std::shared_ptr<platform::ScrollView> scrollView() const;

 private:
  struct State {
    std::shared_ptr<ScrollViewNotifier> notifier;
    mutable std::mutex mutex;
    std::weak_ptr<platform::ScrollView> scrollView;
  };

  std::shared_ptr<State> state_;
};

}  // namespace obx
