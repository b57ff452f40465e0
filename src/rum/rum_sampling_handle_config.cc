#include "rum/rum_sampling_handle_config.h"

namespace obx {

RUMSamplingHandleConfig::RUMSamplingHandleConfig(std::shared_ptr<SDKConfiguration> configuration,
                                                 std::shared_ptr<platform::DispatchQueue> queue)
    : configuration_(std::move(configuration)), common_(std::make_shared<ReadWriteLock<Common>>()) {
  // The observer holds only the copy, so a delivery after this object is gone changes nothing.
  std::weak_ptr<ReadWriteLock<Common>> weak = common_;
  observer_ = ObserverValue<Common>::make(std::move(queue), [weak](const Common& common, const Common&) {
    if (auto target = weak.lock()) target->set(common);
  });
  if (!configuration_) return;
  // Subscribed before the copy is taken: a publication in between arrives later with the newer value.
  configuration_->addObserver(observer_);
  common_->set(configuration_->common());
}

RUMSamplingHandleConfig::~RUMSamplingHandleConfig() {
  if (configuration_) configuration_->removeObserver(observer_);
}

}  // namespace obx
