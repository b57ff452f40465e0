#include "svr/svr_view_change_detector.h"

#include "svr/recording/replay_rates.h"

namespace obx {

std::shared_ptr<SVRViewChangeDetector> SVRViewChangeDetector::make(std::shared_ptr<SVRConfiguration> configuration,
                                                                   std::shared_ptr<platform::Scheduler> scheduler) {
  return std::shared_ptr<SVRViewChangeDetector>(
      new SVRViewChangeDetector(std::move(configuration), std::move(scheduler)));
}

SVRViewChangeDetector::SVRViewChangeDetector(std::shared_ptr<SVRConfiguration> configuration,
                                             std::shared_ptr<platform::Scheduler> scheduler)
    : configuration_(std::move(configuration)),
      scheduler_(scheduler),
      notifier_(std::move(scheduler), std::nullopt, "Optional<Void>") {}

SVRViewChangeDetector::~SVRViewChangeDetector() {
  if (displayLink_) displayLink_->invalidate();
  unswizzleAll();
}

void SVRViewChangeDetector::start() {
  if (displayLink_) return;
  std::weak_ptr<SVRViewChangeDetector> weak = weak_from_this();
  displayLink_ = platform::DisplayLink::make(
      scheduler_->mainQueue(), obx::framesPerSecond(configuration_->common().videoQualityType), [weak](platform::Date) {
        if (auto self = weak.lock()) self->checkWhenIsOpenToNotify();
      });
  displayLink_->start();
}

double SVRViewChangeDetector::framesPerSecond() const { return displayLink_ ? displayLink_->framesPerSecond() : 0; }

bool SVRViewChangeDetector::swizzleLayoutSublayersOfLayer() {
  if (swizzledCount() != 0) return true;
  std::weak_ptr<SVRViewChangeDetector> weak = weak_from_this();
  return swizzle(platform::View::runtimeClass(), platform::selectors::layoutSublayersOfLayer,
                 [weak](Function original) -> Function {
                   return [weak, original](platform::Object& view, platform::Layer& layer) {
                     if (auto self = weak.lock()) self->layoutHappened();
                     original(view, layer);
                   };
                 });
}

void SVRViewChangeDetector::checkWhenIsOpenToNotify() { openToNotify_.store(true); }

void SVRViewChangeDetector::layoutHappened() {
  if (!openToNotify_.load()) return;
  openToNotify_.store(false);
  notifier_.notify(std::monostate{});
}

}  // namespace obx
