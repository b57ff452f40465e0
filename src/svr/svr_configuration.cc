#include "svr/svr_configuration.h"

namespace obx {

SVRConfiguration::SVRConfiguration(std::shared_ptr<SDKConfiguration> configuration,
                                   std::shared_ptr<platform::DispatchQueue> queue)
    : configuration_(std::move(configuration)), common_(std::make_shared<ReadWriteLock<Common>>()) {
  if (!configuration_) return;
  common_->set(configuration_->common());
  std::weak_ptr<ReadWriteLock<Common>> weak = common_;
  observer_ = ObserverValue<Common>::make(std::move(queue), [weak](const Common& common, const Common&) {
    if (auto target = weak.lock()) target->set(common);
  });
  configuration_->addObserver(observer_);
}

SVRConfiguration::~SVRConfiguration() {
  if (configuration_ && observer_) configuration_->removeObserver(observer_);
}

}  // namespace obx
