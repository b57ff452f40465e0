// RUMSamplingHandleConfig: the sampling handle's own copy of Common, kept current by observing the
// configuration on the analytics queue. `common()` may be read from any thread (the crash path reads
// it on the crashing thread).
#pragma once

#include <memory>
#include <mutex>  // read_write_lock.h uses std::unique_lock without including it

#include "base/observer_value.h"
#include "base/read_write_lock.h"
#include "config/sdk_configuration.h"
#include "platform/dispatch/dispatch_queue.h"

namespace obx {

class RUMSamplingHandleConfig {
 public:
  // Subscribes to `configuration` at once, with its updates run on `queue`, and takes its current
  // Common. A null configuration leaves the defaults of Common and follows nothing.
  RUMSamplingHandleConfig(std::shared_ptr<SDKConfiguration> configuration,
                          std::shared_ptr<platform::DispatchQueue> queue);
  // Removes the subscription.
  ~RUMSamplingHandleConfig();
  RUMSamplingHandleConfig(const RUMSamplingHandleConfig&) = delete;
  RUMSamplingHandleConfig& operator=(const RUMSamplingHandleConfig&) = delete;

  Common common() const { return common_->get(); }
  // Takes the configuration's current Common now, ahead of a delivery still queued.
  void refresh() {
    if (configuration_) common_->set(configuration_->common());
  }

 private:
  std::shared_ptr<SDKConfiguration> configuration_;
  std::shared_ptr<ReadWriteLock<Common>> common_;
  std::shared_ptr<ObserverValue<Common>> observer_;
};

}  // namespace obx
