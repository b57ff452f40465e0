#include "rum/rum_configuration.h"

namespace obx {

RUMConfiguration::RUMConfiguration(std::shared_ptr<SDKConfiguration> configuration,
                                   std::shared_ptr<platform::DispatchQueue> queue)
    : configuration_(std::move(configuration)), common_(std::make_shared<ReadWriteLock<Common>>()) {
  if (configuration_) common_->set(configuration_->common());
  std::weak_ptr<ReadWriteLock<Common>> weak = common_;
  observer_ = ObserverValue<Common>::make(std::move(queue), [weak](const Common& common, const Common&) {
    if (auto target = weak.lock()) target->set(common);
  });
}

RUMConfiguration::~RUMConfiguration() {
  if (configuration_) configuration_->removeObserver(observer_);
}

void RUMConfiguration::observe() {
  if (configuration_) configuration_->addObserver(observer_);
}

void RUMConfiguration::refresh() {
  if (configuration_) common_->set(configuration_->common());
}

}  // namespace obx
