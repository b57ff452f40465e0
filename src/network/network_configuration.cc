#include "network/network_configuration.h"

namespace obx {

NetworkConfiguration::NetworkConfiguration(std::shared_ptr<SDKConfiguration> configuration,
                                           std::shared_ptr<platform::DispatchQueue> queue)
    : configuration_(std::move(configuration)), common_(std::make_shared<ReadWriteLock<Common>>()) {
  if (configuration_) common_->set(configuration_->common());
  std::weak_ptr<ReadWriteLock<Common>> weak = common_;
  observer_ = ObserverValue<Common>::make(std::move(queue), [weak](const Common& common, const Common&) {
    if (auto target = weak.lock()) target->set(common);
  });
}

NetworkConfiguration::~NetworkConfiguration() {
  if (configuration_) configuration_->removeObserver(observer_);
}

void NetworkConfiguration::observe() {
  if (!configuration_) return;
  configuration_->addObserver(observer_);
  // A change published before the observer joined would otherwise be missed.
  common_->set(configuration_->common());
}

}  // namespace obx
